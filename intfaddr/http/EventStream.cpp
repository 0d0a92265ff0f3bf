#include "intfaddr/http/EventStream.h"

#include <utility>

namespace IntfAddr {

void EventStream::begin() {
    line_.clear();
    isBehindCr_ = false;
    isFirstLine_ = true;
    id_ = lastEventId_;
    data_.clear();
}

void EventStream::put(std::string_view piece) {
    while (!piece.empty()) {
        if (std::exchange(isBehindCr_, false) && piece.front() == '\n') {
            piece.remove_prefix(1);
            continue;
        }
        auto const end = piece.find_first_of("\r\n");
        line_ += piece.substr(0, end);
        if (end == piece.npos) {
            return;
        }
        isBehindCr_ = piece[end] == '\r';
        piece.remove_prefix(end + 1);
        takeLine();
    }
}

void EventStream::takeLine() {
    std::string const whole = std::exchange(line_, {});
    std::string_view line = whole;
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    if (std::exchange(isFirstLine_, false) && line.starts_with(byteOrderMark)) {
        line.remove_prefix(byteOrderMark.size());
    }
    if (line.empty()) {
        endEvent();
        return;
    }
    auto const colon = line.find(':');
    std::string_view value = colon == line.npos ? std::string_view() : line.substr(colon + 1);
    if (value.starts_with(' ')) {
        value.remove_prefix(1);
    }
    takeField(line.substr(0, colon), value);
}

// A comment is a field without a name.
void EventStream::takeField(std::string_view name, std::string_view value) {
    if (name == "data") {
        data_.append(value) += '\n';
    } else if (name == "id" && value.find('\0') == value.npos) {
        id_ = value;
    }
}

void EventStream::endEvent() {
    lastEventId_ = id_;
    std::string data = std::exchange(data_, {});
    if (!data.empty()) {
        data.pop_back();
        each_(data);
    }
}

}  // namespace IntfAddr
