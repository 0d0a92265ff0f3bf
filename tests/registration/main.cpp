// A program that uses the manager alone, and is linked with what that takes of the library's
// archives. Everything is registered all the same: each module that a module builds on, and each
// type of theirs that can be asked for by name.
#include <string>
#include <string_view>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "Zin/Format.h"
#include "Zin/Registry.h"

namespace {

// Prints what was found beside what should have been, where these differ.
bool agree(std::string_view what, std::vector<std::string> const& found,
           std::vector<std::string> const& expected) {
    if (found != expected) {
        fmt::print(stderr, "{}: {}\n  expected: {}\n", what, fmt::join(found, " "),
                   fmt::join(expected, " "));
    }
    return found == expected;
}

}  // namespace

int main() {
    // Read at run time, so that the linker brings the manager.
    auto* const volatile makesManagers = &IpLib::intfAddrVrfTableManagerFactory;
    std::vector<std::string> modules;
    bool whole = bool(makesManagers);
    for (auto const* const module : Zin::registeredModules()) {
        modules.push_back(module->name);
    }
    std::vector<std::string> types;
    for (auto const* const type : Zin::registeredTypes()) {
        types.push_back(type->name);
    }
    whole &= agree(
        "modules", modules,
        {"Interface", "Ip", "Ip6", "IpLib::IntfAddrVrfTableManager", "IpLib::IntfAddrVrfTableSm",
         "IpLib::IntfAddrVrfTableSmTypes", "IpLib::IntfAddrVrfTableTypes", "L3", "Nimb", "Pell",
         "Tremlog", "Velk", "VirtualIp", "Zin"});
    whole &= agree("types", types,
                   {"IpLib::AllIntfAddrWithMask", "IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm",
                    "IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm", "IpLib::IntfAddrVrfTableSm",
                    "IpLib::IntfAddrWithMask", "IpLib::IntfAddrWithMaskByIntfId",
                    "IpLib::IntfAddrWithMaskKey"});
    return whole ? 0 : 1;
}
