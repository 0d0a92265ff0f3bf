// What is there of one VRF, as a scenario that makes it again: what is published, who has which
// address and subnet, what waits, in its order, and the clean-ups that are pending. Its last line
// advances to the present, so whoever carries on does so from now.
//
//     {"op":"config",...}
//     {"op":"table.add","vrf":"red"}
//     ...
//     {"op":"advance","seconds":0.0,"at":1.3}
//     # not known: {"what":"VRF 'red'","why":"..."}
//     # changed
//
// It is made step by step while the agent works. `# changed` stands at the end where the VRF has
// changed meanwhile: then the state may be half an old and half a new one, and is to be asked for
// again. A name that is no UTF-8 has replacements in it, which is told as not known.
//
// Borrows what it is given.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "feeds/scenario/Run.h"
#include "intfaddr/http/Reply.h"
#include "router/repair/Supervisor.h"
#include "router/repair/VrfState.h"

namespace IntfAddr {

// The lines of a state that are no operations begin with these.
inline constexpr std::string_view changedMark = "# changed";
inline constexpr std::string_view notKnownMark = "# not known: ";

class StateScenario final : public Body,
                            private Routing::OperationObserver,
                            private Routing::TableFollower::Notifiee {
public:
    // Where somebody may change the router meanwhile: who tells of that.
    struct Changes {
        Routing::OperationEffects& operations;
        Zin::Ptr<Routing::TableFollower const> rows;
    };
    using NotKnown = std::function<std::map<std::string, std::string>()>;

    StateScenario(Routing::Router const& router, L3::VrfName vrf, std::optional<Changes> changes,
                  NotKnown notKnown);
    ~StateScenario() override;

    Progress next(std::string& buffer) override;

private:
    void handleOperation(Routing::Operation const& operation) override;
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;
    void write(std::string const& line);
    void end();

    L3::VrfName const vrf_;
    std::optional<Changes> const changes_;
    NotKnown const notKnown_;
    std::string text_;  // of what the last steps wrote
    Routing::VrfState state_;
    bool hasChanged_ = false;
    bool isReplaced_ = false;  // whether a name is not what stands there
};

}  // namespace IntfAddr
