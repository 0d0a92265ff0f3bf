// What a client gets for his request: a status, and a body that is made while it is sent.
//
//     next() ──more──> next() ... ──ended──> destroyed
//        │                ^
//        └──waits──> more() called
//
// The connection owns the body. It asks for the next piece when what came before has gone, and
// destroys the body when it has ended, has thrown, or when the reader has gone or reads no more,
// whichever comes first. All of that happens in the loop, on its thread.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace IntfAddr {

class Body {
public:
    enum class Progress {
        more,   // there is something to be made still
        waits,  // nothing is there to be sent, until `more` is called
        ended,  // that was all
    };

    virtual ~Body() = default;

    // Appends what comes next: a few KiB at most at a time, in a millisecond at most, for so long
    // the loop waits; nothing is in order. Until a call has
    // appended something, no head has been sent either. May throw RefusedReply, which is the reply
    // where nothing has been sent yet, or any other std::exception, which is a 500 then and told to
    // the operator. Later, either cuts the connection, so that the reader does not take a part for
    // the whole.
    virtual Progress next(std::string& buffer) = 0;
    // Called once, before next(). `more` is to be called from the loop, when there is something
    // again after `waits`; it only notes it, so it may be called at any other time as well, and
    // after the body has gone.
    virtual void onMore(std::function<void()> more) { static_cast<void>(more); }
};

// A text that is ready.
class TextBody final : public Body {
public:
    explicit TextBody(std::string text) : text_(std::move(text)) {}

    Progress next(std::string& buffer) override;

private:
    std::string const text_;
    std::size_t sent_ = 0;
};

// Names and values, as they are written.
using HeaderFields = std::vector<std::pair<std::string, std::string>>;

struct Reply {
    unsigned status = 200;
    std::string contentType = "application/json";
    std::unique_ptr<Body> body;  // none is an empty one
    HeaderFields headers{};      // besides those that say what the body is
};

Reply textReply(unsigned status, std::string text);
// {"error": what}, in a line.
Reply errorReply(unsigned status, std::string_view what);

// Thrown for an errorReply() by who finds out late.
class RefusedReply : public std::runtime_error {
public:
    RefusedReply(unsigned status, std::string const& what)
        : std::runtime_error(what), status_(status) {}

    unsigned status() const { return status_; }

private:
    unsigned status_;
};

}  // namespace IntfAddr
