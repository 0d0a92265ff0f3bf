#include "feeds/scenario/Json.h"

#include <string>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "feeds/scenario/FileError.h"

namespace Scenario {

namespace {

// The part of a parser's message that says what is wrong and where in the line.
std::string reason(std::string_view message) {
    for (std::string_view const known : {"at line 1, ", "] "}) {
        if (auto const at = message.find(known); at != std::string_view::npos) {
            message.remove_prefix(at + known.size());
            break;
        }
    }
    // What it quotes need not be UTF-8.
    auto const quote = message.find("; last read: ");
    auto const behind = message.rfind("; expected ");
    std::string text(message.substr(0, quote));
    if (quote != std::string_view::npos && behind != std::string_view::npos && behind > quote) {
        text += message.substr(behind);
    }
    return shortened(text, 200);
}

// Told by the parser of each piece of the text, so that what is not wanted is not even built.
class Builder {
public:
    Json take() { return std::move(root_); }

    bool null() { return put(nullptr); }
    bool boolean(bool value) { return put(value); }
    bool number_integer(Json::number_integer_t value) { return put(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return put(value); }
    bool number_float(Json::number_float_t value, std::string const&) { return put(value); }
    bool string(std::string& value) { return put(std::move(value)); }
    bool binary(Json::binary_t& value) { return put(std::move(value)); }
    bool start_object(std::size_t) { return begin(Json::value_t::object); }
    bool start_array(std::size_t) { return begin(Json::value_t::array); }
    bool end_object() { return end(); }
    bool end_array() { return end(); }
    bool key(std::string& name) {
        auto& members = open_.back()->get_ref<Json::object_t&>();
        auto const [member, isNew] = members.try_emplace(std::move(name));
        if (!isNew) {
            throw LineError(fmt::format("member '{}' is there twice", shortened(member->first)));
        }
        value_ = &member->second;
        return true;
    }
    bool parse_error(std::size_t, std::string const&, Json::exception const& error) {
        throw LineError(fmt::format("not a JSON text: {}", reason(error.what())));
    }

private:
    bool put(Json value) {
        add(std::move(value));
        return true;
    }
    bool begin(Json::value_t kind) {
        if (open_.size() >= maxDepth) {
            throw LineError(fmt::format("nested deeper than {} levels", maxDepth));
        }
        open_.push_back(&add(kind));
        return true;
    }
    bool end() {
        open_.pop_back();
        return true;
    }
    Json& add(Json value) {
        if (!open_.empty() && open_.back()->is_array()) {
            return open_.back()->emplace_back(std::move(value));
        }
        return *value_ = std::move(value);
    }

    Json root_;
    // What has begun and not ended, from the outermost on.
    std::vector<Json*> open_;
    // Where the next value goes, but for one of an array.
    Json* value_ = &root_;
};

}  // namespace

Json readObject(std::string_view text) {
    // The parser takes a zero byte for the end of the text.
    if (text.find('\0') != std::string_view::npos) {
        throw LineError("not a JSON text: it holds a zero byte");
    }
    // The parser passes over one, but a comment would not be seen behind it.
    if (text.starts_with("\xef\xbb\xbf")) {
        throw LineError("not a JSON text: it begins with a byte order mark");
    }
    Builder builder;
    Json::sax_parse(text, &builder);
    Json object = builder.take();
    if (!object.is_object()) {
        throw LineError(fmt::format("not an object: {}", shortened(object.dump())));
    }
    return object;
}

}  // namespace Scenario
