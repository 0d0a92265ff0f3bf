#include "intfaddr/history/AddressEvent.h"

#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

using Kind = AddressEvent::Kind;

std::string_view verbOf(Kind kind) {
    switch (kind) {
        case Kind::toldThere:
            return "was told by the kernel";
        case Kind::toldGone:
            return "was told to be gone by the kernel";
        case Kind::published:
            return "was published";
        case Kind::withdrawn:
            return "was withdrawn";
        case Kind::admitted:
            return "came into the table";
        case Kind::left:
            return "left the table";
        case Kind::deferred:
            return "was deferred";
        case Kind::deferredNoMore:
            return "was deferred no more";
        case Kind::rebuilt:
            return "changed as the table was rebuilt";
        case Kind::statusCame:
            return "status came";
        case Kind::statusWent:
            return "status went";
        case Kind::cleanupPending:
            return "clean-up was requested";
        case Kind::cleanedUp:
            return "clean-up was done";
        case Kind::deviceCame:
            return "device came";
        case Kind::deviceWent:
            return "device went";
        case Kind::deviceUp:
            return "device went up";
        case Kind::deviceDown:
            return "device went down";
    }
    return "";
}

std::string marksOf(AddressEvent const& event) {
    auto const& marks = event.marks;
    std::string text;
    for (auto const& [isSet, name] :
         {std::pair(marks.primary, "primary"), std::pair(marks.secondary, "secondary"),
          std::pair(marks.deprecated, "deprecated"), std::pair(marks.tentative, "tentative"),
          std::pair(marks.optimistic, "optimistic"), std::pair(marks.duplicate, "duplicate"),
          std::pair(marks.virtualIp, "virtual")}) {
        if (isSet) {
            text += fmt::format("{}{}", text.empty() ? " as " : ", ", name);
        }
    }
    if (hasFamily(event.kind)) {
        text += marks.ipv6 ? " for IPv6" : " for IPv4";
    }
    return text;
}

}  // namespace

bool hasFamily(Kind kind) {
    return kind == Kind::statusCame || kind == Kind::statusWent || kind == Kind::cleanupPending ||
           kind == Kind::cleanedUp;
}

std::string textOf(AddressEvent const& event) {
    std::string text(verbOf(event.kind));
    text += marksOf(event);
    if (!event.intf.empty()) {
        text += fmt::format(" on {}", event.intf);
    }
    if (event.holder) {
        text += fmt::format(", behind {} on {}", event.holder->addrOrSubnet, event.holder->intfId);
    }
    if (!event.why.empty()) {
        text += fmt::format(": {}", event.why);
    }
    return text;
}

}  // namespace IntfAddr
