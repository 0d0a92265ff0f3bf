#include "intfaddr/AgentReply.h"

#include <stdexcept>

#include "Zin/Format.h"
#include "intfaddr/AskCommand.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

std::string agentReply(std::optional<std::string> const& runDir, std::string const& method,
                       Target const& target) {
    std::string text;
    unsigned const status = Client(socketToAsk(runDir))
                                .send(method, IntfAddr::target(target.segments, target.query), "",
                                      [&text](std::string_view piece) { text += piece; });
    if (status != 200) {
        Json const document = Json::parse(text, nullptr, false);
        if (document.is_discarded()) {
            throw std::runtime_error(fmt::format("the agent failed: {}", text));
        }
        throwRefusal(status, document);
    }
    return text;
}

}  // namespace IntfAddr
