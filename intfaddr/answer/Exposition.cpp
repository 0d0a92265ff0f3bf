#include "intfaddr/answer/Exposition.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";

constexpr std::string_view nameOf(Exposition::Type type) {
    switch (type) {
        case Exposition::Type::counter:
            return "counter";
        case Exposition::Type::gauge:
            return "gauge";
        case Exposition::Type::histogram:
            return "histogram";
    }
    return {};
}

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool isUtf8(std::string_view text) {
    try {
        static_cast<void>(nlohmann::json(text).dump());
        return true;
    } catch (nlohmann::json::type_error const&) {
        return false;
    }
}

bool standsForItself(std::string_view text) {
    return std::ranges::all_of(text, isAscii) ||
           (text.find(replacement) == std::string_view::npos && isUtf8(text));
}

void writeLabelValue(std::string& out, std::string_view value) {
    bool const isPlain = standsForItself(value);
    for (char const c : value) {
        if (c == '\\' || c == '"') {
            out += {'\\', c};
        } else if (c == '\n') {
            out += "\\n";
        } else if (isPlain || isAscii(c)) {
            out += c;
        } else {
            out += fmt::format("{}{:02X}", replacement, static_cast<unsigned char>(c));
        }
    }
}

}  // namespace

void Exposition::Samples::add(Labels const& labels, double value, std::string_view suffix) {
    out_ += family_;
    out_ += suffix;
    char before = '{';
    for (auto const& [name, text] : labels) {
        out_ += std::exchange(before, ',');
        out_ += name;
        out_ += "=\"";
        writeLabelValue(out_, text);
        out_ += '"';
    }
    out_ += fmt::format("{} {}\n", labels.empty() ? "" : "}", value);
}

Exposition& Exposition::family(std::string name, Type type, std::string help, Step step) {
    families_.push_back({std::move(name), type, std::move(help), std::move(step)});
    return *this;
}

Exposition& Exposition::value(std::string name, Type type, std::string help,
                              std::function<std::optional<double>()> value) {
    return family(std::move(name), type, std::move(help),
                  [value = std::move(value)](Samples& samples) {
                      if (auto const is = value()) {
                          samples.add({}, *is);
                      }
                      return false;
                  });
}

Body::Progress Exposition::next(std::string& buffer) {
    auto const& [name, type, help, step] = families_[current_];
    if (!std::exchange(isBegun_, true)) {
        buffer += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, nameOf(type));
    }
    Samples samples(name, buffer);
    if (!step(samples)) {
        isBegun_ = false;
        ++current_;
    }
    return current_ < families_.size() ? Progress::more : Progress::ended;
}

}  // namespace IntfAddr
