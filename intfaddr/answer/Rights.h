// Who may change something of the agent: root, the user that it runs as, and whom its configuration
// names; whoever is not known may not. Who may ask, the socket's owner and group say
// (UnixListener.h).
#pragma once

#include <sys/types.h>

#include <optional>
#include <set>

#include "intfaddr/http/Reply.h"
#include "intfaddr/http/Request.h"

namespace IntfAddr {

class Rights {
public:
    void changersAre(std::set<uid_t> users) { changers_ = std::move(users); }

    bool mayChange(std::optional<Peer> const& peer) const;
    // Whom the configuration names does not: he could have root overwrite any file.
    static bool mayWriteFiles(std::optional<Peer> const& peer);

private:
    std::set<uid_t> changers_;
};

// 403.
Reply refusal();

}  // namespace IntfAddr
