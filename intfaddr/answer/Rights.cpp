#include "intfaddr/answer/Rights.h"

#include <unistd.h>

namespace IntfAddr {

bool Rights::mayChange(std::optional<Peer> const& peer) const {
    return mayWriteFiles(peer) || (peer && changers_.contains(peer->uid));
}

bool Rights::mayWriteFiles(std::optional<Peer> const& peer) {
    return peer && (peer->uid == 0 || peer->uid == ::geteuid());
}

Reply refusal() {
    return errorReply(403,
                      "only root, the agent's own user and whom its configuration names may change "
                      "something");
}

}  // namespace IntfAddr
