// What a scenario would come to, for programs that ask over the socket:
//
//   POST /v1/whatif   the body is a scenario; answers as `intfaddr what-if --json` does
//
// That command is what answers: the agent runs it beside itself, so that neither the copy of a
// table nor what is tried on it takes the agent's time or memory. It asks the agent for the state
// of the VRFs, as any client does. One runs at a time, bounded in memory and time (ChildProcess.h),
// and ends when its client goes.
//
// A bad scenario is a 400 with its line; 503 while another one runs, where it takes too much, and
// where it cannot be started.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "intfaddr/answer/Routes.h"
#include "intfaddr/loop/ChildProcess.h"
#include "intfaddr/loop/EventLoop.h"

namespace IntfAddr {

class Rehearsals {
public:
    // `command`: the program, and what has it read a scenario from its standard input. Borrows the
    // loop.
    Rehearsals(EventLoop& loop, std::vector<std::string> command, ChildLimits const& limits = {});
    ~Rehearsals();
    Rehearsals(Rehearsals const&) = delete;
    Rehearsals& operator=(Rehearsals const&) = delete;

    // Outlives the routes and the replies.
    void addTo(Routes& routes);

private:
    class Run;
    class Answer;

    EventLoop& loop_;
    std::vector<std::string> const command_;
    ChildLimits const limits_;
    std::shared_ptr<Run> running_;  // while its process lives, though its client may have gone
};

}  // namespace IntfAddr
