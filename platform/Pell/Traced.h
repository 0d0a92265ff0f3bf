// Gives a class its trace handle, and traces and assertions that know where they are.
//
//     class CarrierSm : private Pell::Traced<"CarrierSm"> { ... };
//
//     void CarrierSm::handleIpIntfStatus(Nimb::IntfId const& intfId) {
//         trace8("on {} isUp {}", intfId, isUp);     // CarrierSm::handleIpIntfStatus comes along
//         if (!known) fail("known", "{} is not known", intfId);                 // never returns
//
// A class below one that is traced already derives from it through the mixin, so that its own name
// is the nearer one; constructors of the base come along:
//
//     class FastCarrierSm : public Pell::Traced<"FastCarrierSm", CarrierSm> { ... };
//
// A helper traces in the name of the handler that it serves by naming it beside the format:
//
//     trace9({"removing set for subnet {} on {}", "removeIntfAddr"}, subnet, intfId);
//
// The mixin is empty and costs a class no size. All members are static, so helpers nested in the
// class may trace for it. Inside a lambda the function's name is "operator()": trace outside.
#pragma once

#include <string_view>
#include <type_traits>
#include <utility>

#include "Pell/Assertion.h"
#include "Pell/Trace.h"
#include "Zin/FixedString.h"
#include "Zin/Format.h"

namespace Pell {
namespace Detail {

// A format checked against the arguments' types, and the function in which it was written.
template <class... Args>
struct FormatHere {
    fmt::format_string<Args...> format;
    char const* function;

    template <class Text>
    consteval FormatHere(Text const& text, char const* here = __builtin_FUNCTION())
        : format(text), function(here) {}
};

}  // namespace Detail

template <Zin::FixedString className, class... Base>
class Traced : public Base... {
public:
    using Base::Base...;

protected:
    Traced() = default;
    ~Traced() = default;

    // For the class's own functions; the format is a literal.
    template <int level, class... Args>
    static void trace(Detail::FormatHere<std::type_identity_t<Args>...> here, Args&&... args) {
        static_assert(1 <= level && level <= 9);
        fmtrace<Args...>(handle_, level, here.function, here.format, std::forward<Args>(args)...);
    }
    // 3 is noteworthy, 8 is what is done, 9 is each step.
    template <class... Args>
    static void trace3(Detail::FormatHere<std::type_identity_t<Args>...> here, Args&&... args) {
        fmtrace<Args...>(handle_, 3, here.function, here.format, std::forward<Args>(args)...);
    }
    template <class... Args>
    static void trace8(Detail::FormatHere<std::type_identity_t<Args>...> here, Args&&... args) {
        fmtrace<Args...>(handle_, 8, here.function, here.format, std::forward<Args>(args)...);
    }
    template <class... Args>
    static void trace9(Detail::FormatHere<std::type_identity_t<Args>...> here, Args&&... args) {
        fmtrace<Args...>(handle_, 9, here.function, here.format, std::forward<Args>(args)...);
    }

    // An invariant of the class does not hold: fmassert.
    template <class... Args>
    [[noreturn]] static void fail(std::string_view condition,
                                  Detail::FormatHere<std::type_identity_t<Args>...> here,
                                  Args&&... args) {
        fmassert<Args...>(handle_, condition, here.function, here.format,
                          std::forward<Args>(args)...);
    }

private:
    static inline TraceHandle handle_{className.view()};
};

}  // namespace Pell
