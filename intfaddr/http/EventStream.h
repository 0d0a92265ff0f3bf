// Reads a stream of server-sent events (WHATWG HTML, "server-sent events"), and knows the id with
// which it can be resumed.
//
//   in     the text of the stream, in pieces cut anywhere
//   out    the data of each event that is whole
//
// Lines end with CR, LF or both. Comments, names of events and times to wait are read over. An
// event without data gives its id alone.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace IntfAddr {

class EventStream {
public:
    // `each` may throw; that event then counts as told.
    explicit EventStream(std::function<void(std::string_view data)> each)
        : each_(std::move(each)) {}

    // On a connection of its own; an event that was half there is none.
    void begin();
    void put(std::string_view piece);

    // What the next connection sends as Last-Event-ID; empty where there is nothing to be sent.
    std::string const& lastEventId() const { return lastEventId_; }

private:
    void takeLine();
    void takeField(std::string_view name, std::string_view value);
    void endEvent();

    std::function<void(std::string_view)> const each_;
    std::string lastEventId_;
    std::string line_;
    bool isBehindCr_ = false;
    bool isFirstLine_ = true;
    std::string id_;    // of the event that comes
    std::string data_;  // each line of it with its end
};

}  // namespace IntfAddr
