#include "intfaddr/ask/ExplanationText.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Zin/Format.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

std::string line(std::string_view indent, Json const& text) {
    return fmt::format("{}{}\n", indent, printable(text.get<std::string>()));
}

}  // namespace

std::string explanationText(Json const& answer) {
    auto const& history = answer["history"];
    auto const ago = [&history](Json const& at) {
        return fmt::format("{:.1f} s ago", history["now"].get<double>() - at.get<double>());
    };
    std::string text;
    for (auto const& one : answer["explanations"]) {
        text += line("", one["sentence"]);
        for (auto const& reason : one["reasons"]) {
            text += line("  - ", reason);
        }
        for (auto const& event : one["events"]) {
            text += fmt::format("  {:>14}  {}", ago(event["at"]), line("", event["text"]));
        }
    }
    return text + (history.is_null()
                       ? "There is no history where no agent is asked.\n"
                       : fmt::format("The history begins {}.\n", ago(history["begins"])));
}

bool hasPlace(Json const& explanation) {
    constexpr std::array<std::string_view, 3> absent{"connected", "none", "not-known"};
    return std::ranges::find(absent, explanation["verdict"].get<std::string>()) == absent.end();
}

}  // namespace IntfAddr
