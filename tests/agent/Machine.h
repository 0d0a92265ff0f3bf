// A machine in virtual time: a fake kernel and an agent on it, who is given its turns as the
// program's loop gives them, its readers and its recorder.
//
//   in     steps of a history
//   out    what is wrong, as it is found
#pragma once

#include <optional>
#include <set>
#include <sstream>
#include <string>

#include "History.h"
#include "Interloper.h"
#include "Judge.h"
#include "Reader.h"
#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/scenario/FollowedEventPrinter.h"
#include "feeds/scenario/Recorder.h"
#include "intfaddr/agent/Agent.h"

namespace Simulated {

class Machine {
public:
    Machine(History const& history, Faults& faults);
    ~Machine();
    Machine(Machine const&) = delete;
    Machine& operator=(Machine const&) = delete;

    void carryOut(Step const& step);
    // The recording is replayed, and the agent goes.
    void end();

private:
    struct Running;

    void start();
    void follow(Step::Notice notice);
    void settle();
    void runTo(double time);
    void serve();
    void runAgent();
    void judgeRun(std::set<L3::VrfName> const& before);
    void judgeStart(std::set<L3::VrfName> const& published);
    void judgeGone();
    void judgePromptly();
    std::set<L3::VrfName> tables() const;
    Wanted wanted();
    void replay();

    bool const isPrompt_;
    Faults& faults_;
    Netlink::Fake::FakeKernel kernel_;
    Interloper interloper_{kernel_};
    double changed_ = 0;  // when an operation was done
    std::map<std::string, Netlink::NamespaceId> thereAtStart_;
    std::unique_ptr<Running> running_;
    bool isDelivered_ = false;  // the agent has been called, and has not run yet
    bool isDone_ = false;
};

}  // namespace Simulated
