// A directory of the troubles that were: what led to each repair of a table, as a scenario that
// shows it again where it is replayed with --heal.
//
//   in     the repairs
//   out    trouble-NUMBER-VRF.jsonl, the latest hundred, the oldest by name first; when writing
//   does
//          not go, a message, once of each kind
//
// The numbers go on where those in the directory end, so a restart replaces nothing. A file comes
// into the directory whole. Others that lie there are left alone.
//
// A recording of a large router is large, and is written at once: repairs are few.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "feeds/scenario/Run.h"
#include "router/repair/Supervisor.h"

namespace IntfAddr {

class TroubleDir final : public Routing::RepairObserver {
public:
    using Log = std::function<void(std::string const&)>;

    static constexpr std::size_t kept = 100;

    // Makes the directory when there is something to write, if it is not there, but none above it.
    // `config` is the router's.
    TroubleDir(std::string directory, Scenario::Config const& config, Log log);

    void handleRepair(Routing::Repair const& repair,
                      std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override;

private:
    // Sorted; throw Failure, like all that follows.
    std::vector<std::string> ownNames() const;
    void write(Routing::Repair const& repair) const;
    void writeFile(std::string const& name, std::string const& content) const;
    void removeOldest();
    // Runs a step, and tells what keeps it from its end.
    void attempt(std::function<void()> const& step);

    std::string pathOf(std::string const& name) const { return directory_ + "/" + name; }

    std::string const directory_;
    Scenario::Config const config_;
    Log const log_;
    std::set<std::string> told_;  // kinds
};

}  // namespace IntfAddr
