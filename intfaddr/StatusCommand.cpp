#include "intfaddr/StatusCommand.h"

#include <ostream>
#include <string_view>

#include "intfaddr/AskCommand.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/ask/AnswerText.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

int agentStatus(StatusOptions const& options, Streams const& streams) {
    std::string text;
    Client client(socketToAsk(options.runDir));
    try {
        client.get("/v1/status", [&text](std::string_view piece) { text += piece; });
    } catch (NoAgent const& error) {
        streams.err << "intfaddr: not known: " << printable(error.what()) << '\n';
        return 3;
    }
    Json const document = Json::parse(text);
    throwRefusal(client.status(), document);
    streams.out << (options.json ? text : statusText(document));
    return 0;
}

}  // namespace IntfAddr
