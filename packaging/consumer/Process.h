// What the library has once in a process, as whoever asks sees it.
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "Nimb/IntfId.h"
#include "Zin/Entity.h"
#include "Zin/Fail.h"
#include "Zin/HashKey.h"
#include "Zin/Registry.h"
#include "Zin/Turn.h"

struct Process {
    std::size_t modules;
    std::size_t types;
    std::uint32_t seed;
    std::uint32_t name;  // the hash of an interface's name, which stands once
    bool threadSafe;
    bool handled;
    bool inDomain;
    std::uint32_t depth;

    friend bool operator==(Process const&, Process const&) = default;
    std::string text() const {
        return fmt::format("{} {} {:x} {:x} {} {} {} {}", modules, types, seed, name, threadSafe,
                           handled, inDomain, depth);
    }
};

inline Process process() {
    auto* const handler = Zin::assertionHandlerIs(nullptr);
    Zin::assertionHandlerIs(handler);
    return {.modules = Zin::registeredModules().size(),
            .types = Zin::registeredTypes().size(),
            .seed = Zin::hashSeed(),
            .name = Nimb::IntfId("Ethernet1").hash(),
            .threadSafe = Zin::threadSafePointers(),
            .handled = handler != nullptr,
            .inDomain = Zin::FaultDomain::innermost() == "agent",
            .depth = Zin::Detail::turnState.depth};
}
