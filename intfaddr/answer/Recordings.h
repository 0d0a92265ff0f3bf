// The recording of the agent (Recording.h), which is begun and stopped while it runs:
//
//   PUT /v1/record?file=FILE[&limit=BYTES]   {"changed":true,"recording":{...}}
//   DELETE /v1/record                        the same, when the file is complete; where none runs,
//                                            {"changed":false,"recording":{...} or null}
//
// There is one at a time; `recording` is the last that was begun. It is for root and the agent's
// own user, since the agent writes the file with its rights.
//
//   time   whoever runs the loop calls step() in each turn, at nextTurn() at the latest
//
// Borrows the agent and the rights, and goes before them.
#pragma once

#include <functional>
#include <memory>

#include "intfaddr/agent/Recording.h"
#include "intfaddr/answer/AnswerJson.h"
#include "intfaddr/answer/Rights.h"
#include "intfaddr/answer/Routes.h"

namespace IntfAddr {

class Recordings {
public:
    struct Options {
        Scenario::Config replayed{};  // what a replay needs to know of the agent
        std::uint64_t limit = 0;      // where none is given
    };

    Recordings(Agent& agent, Options const& options, Rights const& rights, Netlink::Notice notice);

    // While none runs. Throws RecordingError.
    void start(std::string const& file, std::uint64_t limit);
    void comment(std::string_view text);
    // One that runs is stopped, and complete.
    void end() { last_.reset(); }

    Zin::Seconds nextTurn() const;
    void step(Zin::Seconds now);

    // 403 for who has no right to, 400 for a file that cannot be made, 409 where one runs. Outlives
    // the routes.
    void addTo(Routes& routes);
    // {"file","bytes","state","why"}; null where none was begun.
    Json status() const;

private:
    // Where the client may have it write.
    static Reply permitted(Request const& request, std::function<Reply()> const& act);
    Reply startAsked(Parameters given);
    Reply stop();

    Agent& agent_;
    Options const options_;
    Rights const& rights_;
    Netlink::Notice const notice_;
    std::shared_ptr<Recording> last_;  // null where none was begun
};

}  // namespace IntfAddr
