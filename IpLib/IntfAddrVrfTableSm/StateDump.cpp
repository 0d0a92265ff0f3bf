// What a VRF's machine shows of itself: what it was given, what the kernel has done, what it has
// written, and what its children are about.
//
// Every line is indented as far as the machine's own; what dumps itself, two columns more. Lists by
// interface are in order of the interfaces' names. Some lists have no line breaks.

#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableTypes/SortedMembers.h"
#include "Velk/Dump.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using IntfAddrVrfTableImpl::KniKernelHistory;

using Context = Zin::Ptr<Velk::DumpContext const>;

// The members of a map, nobody's where there is none.
template <class Map>
std::vector<typename Map::Member const*> membersOf(Map const* map) {
    return map ? sortedMembers(*map) : std::vector<typename Map::Member const*>();
}

template <class Members, class PrintMember>
void dumpMembers(Context const& context, std::uint32_t indent, Members const& members,
                 PrintMember&& printMember) {
    Velk::dumpList(context, indent, members, static_cast<std::uint32_t>(members.size()),
                   printMember);
}

void dumpIpStatus(Context const& context, std::uint32_t indent,
                  Zin::Ptr<Ip::VrfIpIntfStatus const> const& input) {
    auto const members = membersOf(input ? &input->ipIntfStatus() : nullptr);
    Velk::dumpLine(context, indent, "vrfIpIntfStatus {} count {}\n", input, members.size());
    dumpMembers(context, indent, members, [&](auto const* member) {
        Ip::IpIntfStatus const& status = *member->value;
        auto const primary = status.activeAddrWithMask();
        Velk::dumpLine(context, indent, "{} active is {} with {} secondary addresses\n",
                       member->key,
                       primary == Nimb::IpAddrWithMask() ? "none" : fmt::format("{}", primary),
                       status.secondaryActiveAddrWithMask().size());
    });
}

void dumpIp6Status(Context const& context, std::uint32_t indent,
                   Zin::Ptr<Ip6::VrfIp6IntfStatus const> const& input) {
    auto const members = membersOf(input ? &input->intfStatus() : nullptr);
    Velk::dumpLine(context, indent, "vrfIp6IntfStatus {} count {}\n", input, members.size());
    dumpMembers(context, indent, members, [&](auto const* member) {
        auto const& addrs = member->value->addr();
        Velk::dumpLine(context, indent, "{} has {} addresses", member->key, addrs.size());
        char const* separator = ": ";
        for (auto const& addr : addrs) {
            Velk::dumpText(context, fmt::format("{}{}", separator, addr.key));
            separator = ", ";
        }
        Velk::dumpText(context, "\n");
    });
}

void dumpKernel(Context const& context, std::uint32_t indent,
                Zin::Ptr<Interface::DeviceIntfStatusDir const> const& dir) {
    auto const members = membersOf(dir ? &dir->deviceIntfStatus() : nullptr);
    Velk::dumpLine(context, indent, "kernelIntfDir {} count {}\n", dir, members.size());
    dumpMembers(context, indent, members, [&](auto const* member) {
        Interface::DeviceIntfStatus const& device = *member->value;
        Velk::dumpLine(context, indent, "{} deviceName={} ifIndex={} operStatus={} active={}\n",
                       member->key, device.deviceName(), device.ifIndex(), device.operStatus(),
                       device.active());
    });
}

// Never cut: it is short enough, and whoever asks for it looks for one change among the others.
void dumpHistory(Context const& context, std::uint32_t indent, KniKernelHistory const& history,
                 Zin::Seconds now) {
    Velk::dumpLine(context, indent, "kniKernelHistory with size {} and count {}\n", history.size(),
                   history.count());
    history.forEachNewestFirst([&](auto const& change) {
        Velk::dumpLine(context, indent, "{:10.6f} {} {}\n", now - change.time, change.intfId,
                       change.isPresent ? "present" : "not present");
    });
}

template <class Child>
void dumpChild(Context const& context, std::uint32_t indent, Zin::Ptr<Child> const& child) {
    if (child) {
        child->dumpState(context, indent + 2);
    }
}

template <class Map>
void dumpChildren(Context const& context, std::uint32_t indent, Map const& children) {
    dumpMembers(context, indent, sortedMembers(children),
                [&](auto const* member) { dumpChild(context, indent, member->value); });
}

}  // namespace

void IntfAddrVrfTableSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                   std::uint32_t indent) const {
    // Promised without the "r" of "Addr".
    Velk::dumpLine(context, indent, "IntfAddVrfTableSm VRF={} netns={}\n", vrfName_,
                   networkNamespace_);
    Velk::dumpLine(context, indent, "SmConfig [ {} ]\n", smConfig_.toStrep());
    dumpIpStatus(context, indent, vrfIpIntfStatus());
    dumpIp6Status(context, indent, vrfIp6IntfStatus());
    dumpKernel(context, indent, kernelIntfDir_);
    dumpHistory(context, indent, kniKernelHistory_, scheduler_->now());
    Velk::dumpLine(context, indent, "IntfAddrVrfTable\n");
    dumpChild(context, indent, intfAddrVrfTable_);
    Velk::dumpLine(context, indent, "AllIntfAddrWithMask\n");
    dumpChild(context, indent, allIntfAddrWithMask_);
    dumpChildren(context, indent, ipIntfStatusSm());
    dumpChildren(context, indent, ip6IntfStatusSm());
    dumpChild(context, indent, intfCleanupBacklog());
    dumpChild(context, indent, deferredIntfAddBacklog());
    dumpChild(context, indent, intfCleanupSm());
    dumpChild(context, indent, deferredIntfAddSm());
}

}  // namespace IpLib
