// One thing that an administrator, or somebody else on the link, does to a machine. A value, so
// that it can be done to several kernels and told of.
#pragma once

#include <cstdint>
#include <string>

#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/netlink/fake/Link.h"

namespace Netlink::Fake {

struct Operation {
    enum class Kind {
        addLink,  // of `linkKind`, in `place`; of a veth the peer in `otherPlace`
        removeLink,
        setUp,
        setDown,
        rename,
        moveLink,   // to the namespace of `otherPlace`
        setMaster,  // to that of `otherPlace`, to none where it has index 0
        addAddress,
        replaceAddress,
        removeAddress,
        detectDuplicate,
        promoteSecondaries,  // or not, see `on`
        keepAddrOnDown,
        makeName,
        makeNamespace,
        nameNamespace,  // that of `place` gets one more name
        removeName,
    };

    Kind kind = Kind::addLink;
    Place place{};
    std::string name{};
    Place otherPlace{};
    std::string otherName{};
    LinkKind linkKind = LinkKind::veth;
    Address address{};
    bool on = false;
};

// 0 or an errno.
int perform(FakeKernel& kernel, Operation const& operation);
// In one line.
std::string text(Operation const& operation);

}  // namespace Netlink::Fake
