#include "intfaddr/ask/Words.h"

#include <algorithm>
#include <utility>

#include "Nimb/IpGenAddrWithMask.h"
#include "Zin/Format.h"

namespace IntfAddr {

namespace {

std::string_view nameOf(Subject subject) {
    switch (subject) {
        case Subject::none:
            break;
        case Subject::intf:
            return "an interface";
        case Subject::addr:
            return "an address";
        case Subject::addrOrPrefix:
            return "an address or prefix";
    }
    return "";
}

// As parameters of a request are called.
std::string parameterOf(std::string const& keyword) {
    return keyword == "intf" ? "interface" : keyword;
}

class Reader {
public:
    explicit Reader(Grammar const& grammar) : grammar_(grammar) {}

    void read(std::vector<std::string> const& words) {
        for (std::size_t i = 0; i < words.size(); ++i) {
            auto const& word = words[i];
            if (grammar_.has(word)) {
                if (i + 1 == words.size()) {
                    throw BadQuestion(fmt::format("'{}' is the last word: {} is expected", word,
                                                  word == "family"  ? "4 or 6"
                                                  : word == "state" ? "a state"
                                                                    : "a name"));
                }
                put(parameterOf(word), words[++i]);
            } else if (grammar_.subject != Subject::none && !std::exchange(hasSubject_, true)) {
                readSubject(word);
            } else {
                throw BadQuestion(fmt::format("'{}' is not expected: {}", word, expected()));
            }
        }
        if (grammar_.isNeeded && !hasSubject_) {
            throw BadQuestion(fmt::format("{} is missing", nameOf(grammar_.subject)));
        }
    }
    Parameters take() { return std::move(parameters_); }

private:
    void readSubject(std::string const& word) {
        if (grammar_.subject == Subject::intf) {
            return put("interface", word);
        }
        if (word.find('/') != word.npos) {
            return readPrefix(word);
        }
        // RFC 4007, section 11: an address and the zone in which it is meant.
        auto const zone = word.find('%');
        auto const addr = word.substr(0, zone);
        try {
            static_cast<void>(addressOf(addr));
        } catch (BadQuestion const& error) {
            throw BadQuestion(fmt::format("{}; {}", error.what(), expected(false)));
        }
        put("address", addr);
        if (zone != word.npos) {
            put("interface", word.substr(zone + 1));
        }
    }

    // With host bits set, the subnet is meant in which the address lies.
    void readPrefix(std::string const& word) {
        if (grammar_.subject != Subject::addrOrPrefix) {
            throw BadQuestion(
                fmt::format("'{}' is a prefix: {} is expected", word, nameOf(grammar_.subject)));
        }
        try {
            put("prefix", Nimb::IpGenAddrWithMask(word).prefix().toStrep());
        } catch (Zin::Error const& error) {
            throw BadQuestion(fmt::format("'{}' is not a prefix: {}", word, error.what()));
        }
    }

    void put(std::string const& name, std::string const& value) {
        bool const isThere = std::ranges::any_of(
            parameters_, [&name](auto const& one) { return one.first == name; });
        if (isThere) {
            throw BadQuestion(fmt::format("'{}' is one {} too many", value, name));
        }
        parameters_.emplace_back(name, value);
    }

    std::string expected(bool onlyKeywords = true) const {
        std::vector<std::string> names;
        if (!onlyKeywords || (grammar_.subject != Subject::none && !hasSubject_)) {
            names.emplace_back(nameOf(grammar_.subject));
        }
        names.insert(names.end(), grammar_.keywords.begin(), grammar_.keywords.end());
        return names.empty() ? "nothing is" : fmt::format("{} is", fmt::join(names, " or "));
    }

    Grammar const& grammar_;
    Parameters parameters_;
    bool hasSubject_ = false;
};

}  // namespace

Parameters parametersOf(Grammar const& grammar, std::vector<std::string> const& words) {
    Reader reader(grammar);
    reader.read(words);
    Parameters parameters = reader.take();
    static_cast<void>(filterOf(parameters));
    return parameters;
}

std::string toText(Grammar const& grammar) {
    std::string text = grammar.subject == Subject::none   ? ""
                       : grammar.subject == Subject::intf ? "INTF"
                       : grammar.subject == Subject::addr ? "ADDR"
                                                          : "ADDR|PREFIX";
    if (!text.empty() && !grammar.isNeeded) {
        text = fmt::format("[{}]", text);
    }
    for (char const* const keyword : {"vrf", "intf", "family", "state"}) {
        if (grammar.has(keyword)) {
            text += fmt::format("{}[{} {}]", text.empty() ? "" : " ", keyword,
                                std::string_view(keyword) == "family"  ? "4|6"
                                : std::string_view(keyword) == "state" ? "STATE"
                                                                       : "NAME");
        }
    }
    return text;
}

}  // namespace IntfAddr
