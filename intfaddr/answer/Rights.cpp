#include "intfaddr/answer/Rights.h"

#include <unistd.h>

namespace IntfAddr {

bool Rights::mayChange(Peer const& peer) const {
    return mayWriteFiles(peer) || changers_.contains(peer.uid);
}

bool Rights::mayWriteFiles(Peer const& peer) { return peer.uid == 0 || peer.uid == ::geteuid(); }

Reply refusal() {
    return errorReply(403,
                      "only root, the agent's own user and whom its configuration names may change "
                      "something");
}

}  // namespace IntfAddr
