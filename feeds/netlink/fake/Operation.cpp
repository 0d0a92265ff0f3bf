#include "feeds/netlink/fake/Operation.h"

#include <cerrno>
#include <string_view>

#include "Zin/Format.h"

namespace Netlink::Fake {

namespace {

using Kind = Operation::Kind;

int addLink(Links& links, Operation const& wanted) {
    NewLink const link{wanted.place.network, wanted.name, wanted.place.ifIndex};
    if (wanted.linkKind != LinkKind::veth) {
        return links.add(wanted.linkKind, link);
    }
    return links.addVeth(link,
                         {wanted.otherPlace.network, wanted.otherName, wanted.otherPlace.ifIndex});
}

std::string placeText(Place const& place) {
    return fmt::format("{}:{}", place.network.inode, place.ifIndex);
}

std::string wordsOf(Address const& address) {
    std::string words = fmt::format("{}", address.own);
    if (address.peer.family() != Nimb::AddressFamily::unset) {
        words += fmt::format(" peer {}", address.peer);
    }
    if (address.scope != 0) {
        words += fmt::format(" scope {}", address.scope);
    }
    if (address.flags != 0) {
        words += fmt::format(" flags {:x}", address.flags);
    }
    if (address.valid != forever) {
        words += fmt::format(" valid {} preferred {}", address.valid, address.preferred);
    }
    return words;
}

}  // namespace

int perform(FakeKernel& kernel, Operation const& wanted) {
    Links& links = kernel.links();
    switch (wanted.kind) {
        case Kind::addLink:
            return addLink(links, wanted);
        case Kind::removeLink:
            return links.remove(wanted.place);
        case Kind::setUp:
            return links.setUp(wanted.place, true);
        case Kind::setDown:
            return links.setUp(wanted.place, false);
        case Kind::rename:
            return links.rename(wanted.place, wanted.name);
        case Kind::moveLink:
            return links.move(wanted.place, wanted.otherPlace.network, wanted.name);
        case Kind::setMaster:
            return links.setMaster(wanted.place, wanted.otherPlace.ifIndex);
        case Kind::addAddress:
            return links.addAddress(wanted.place, wanted.address);
        case Kind::replaceAddress:
            return links.replaceAddress(wanted.place, wanted.address);
        case Kind::removeAddress:
            return links.removeAddress(wanted.place, wanted.address);
        case Kind::detectDuplicate:
            return links.detectDuplicate(wanted.place, wanted.address.own);
        case Kind::promoteSecondaries:
            kernel.settings(wanted.place.network).promoteSecondaries = wanted.on;
            return 0;
        case Kind::keepAddrOnDown:
            kernel.settings(wanted.place.network).keepAddrOnDown = wanted.on;
            return 0;
        case Kind::makeName:
            return kernel.makeName(wanted.name);
        case Kind::makeNamespace:
            kernel.makeNamespace(wanted.name);
            return 0;
        case Kind::nameNamespace:
            return kernel.nameNamespace(wanted.name, wanted.place.network);
        case Kind::removeName:
            return kernel.removeName(wanted.name);
    }
    return EINVAL;
}

std::string text(Operation const& done) {
    std::string const place = placeText(done.place);
    switch (done.kind) {
        case Kind::addLink:
            return fmt::format("add {} {} {}{}", nameOf(done.linkKind), place, done.name,
                               done.linkKind == LinkKind::veth
                                   ? " peer " + placeText(done.otherPlace) + ' ' + done.otherName
                                   : "");
        case Kind::removeLink:
            return fmt::format("delete link {}", place);
        case Kind::setUp:
            return fmt::format("set up {}", place);
        case Kind::setDown:
            return fmt::format("set down {}", place);
        case Kind::rename:
            return fmt::format("rename {} to {}", place, done.name);
        case Kind::moveLink:
            return fmt::format("move {} to namespace {} {}", place, done.otherPlace.network.inode,
                               done.name);
        case Kind::setMaster:
            return fmt::format("master of {} is {}", place, done.otherPlace.ifIndex);
        case Kind::addAddress:
            return fmt::format("add {} on {}", wordsOf(done.address), place);
        case Kind::replaceAddress:
            return fmt::format("replace {} on {}", wordsOf(done.address), place);
        case Kind::removeAddress:
            return fmt::format("delete {} on {}", wordsOf(done.address), place);
        case Kind::detectDuplicate:
            return fmt::format("somebody else has {} of {}", wordsOf(done.address), place);
        case Kind::promoteSecondaries:
            return fmt::format("promote_secondaries {} in {}", done.on, done.place.network.inode);
        case Kind::keepAddrOnDown:
            return fmt::format("keep_addr_on_down {} in {}", done.on, done.place.network.inode);
        case Kind::makeName:
            return fmt::format("name {} without a namespace", done.name);
        case Kind::makeNamespace:
            return fmt::format("new namespace {}", done.name);
        case Kind::nameNamespace:
            return fmt::format("namespace {} is also {}", done.place.network.inode, done.name);
        case Kind::removeName:
            return fmt::format("remove name {}", done.name);
    }
    return "";
}

}  // namespace Netlink::Fake
