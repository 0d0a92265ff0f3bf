#include "intfaddr/answer/Recordings.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <utility>

#include "intfaddr/answer/Question.h"
#include "intfaddr/config/Config.h"

namespace IntfAddr {

namespace {

Json jsonOf(Recording const* recording) {
    if (!recording) {
        return nullptr;
    }
    auto const& why = recording->whyEnded();
    return {{"file", recording->file()},
            {"bytes", recording->bytes()},
            {"state", !recording->hasEnded() ? "running"
                      : why.empty()          ? "stopped"
                                             : "failed"},
            {"why", why.empty() ? Json() : Json(why)}};
}

std::string textOf(bool changed, Recording const* recording) {
    return toLine(Json{{"changed", changed}, {"recording", jsonOf(recording)}}) + "\n";
}

// The end of a recording, which is sent when all is written.
class Ending final : public Body {
public:
    explicit Ending(std::shared_ptr<Recording> recording) : recording_(std::move(recording)) {}

    Progress next(std::string& buffer) override {
        // At no time of its own: what it writes at its end does not wait for any.
        recording_->step(-std::numeric_limits<Zin::Seconds>::infinity());
        if (!recording_->hasEnded()) {
            return Progress::more;
        }
        buffer += textOf(true, recording_.get());
        return Progress::ended;
    }

private:
    std::shared_ptr<Recording> const recording_;
};

std::uint64_t limitOf(std::string const& text) {
    std::uint64_t limit = 0;
    auto const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, limit);
    if (error != std::errc() || rest != end || limit < Limits::least) {
        throw BadQuestion(
            fmt::format("limit '{}': a number of bytes from {} is expected", text, Limits::least));
    }
    return limit;
}

// A pipe could hold up the agent for as long as nobody reads it.
void checkFile(std::string const& file) {
    if (!file.starts_with('/')) {
        throw BadQuestion(fmt::format("file '{}': an absolute path is expected", file));
    }
    std::error_code error;
    auto const found = std::filesystem::status(file, error);
    if (std::filesystem::exists(found) && !std::filesystem::is_regular_file(found)) {
        throw BadQuestion(fmt::format("{}: is no regular file", file));
    }
}

}  // namespace

Recordings::Recordings(Agent& agent, Options const& options, Rights const& rights,
                       Netlink::Notice notice)
    : agent_(agent), options_(options), rights_(rights), notice_(std::move(notice)) {
    agent_.batchBeginsIs([this] {
        if (last_) {
            last_->batchBegins();
        }
    });
}

void Recordings::start(std::string const& file, std::uint64_t limit) {
    last_ = std::make_shared<Recording>(agent_, options_.replayed, file, limit, notice_);
}

void Recordings::comment(std::string_view text) {
    if (last_ && !last_->isStopped()) {
        last_->comment(text);
    }
}

Zin::Seconds Recordings::nextTurn() const { return last_ ? last_->nextTurn() : Velk::never; }

void Recordings::step(Zin::Seconds now) {
    if (last_) {
        last_->step(now);
    }
}

Json Recordings::status() const { return jsonOf(last_.get()); }

Reply Recordings::reply(Request const& request) {
    if (request.method != "PUT" && request.method != "DELETE") {
        return errorReply(405,
                          fmt::format("{} is not possible: PUT and DELETE are", request.method));
    }
    if (!rights_.mayWriteFiles(request.peer)) {
        return errorReply(403, "only root and the agent's own user may have it write a file");
    }
    try {
        if (request.method == "PUT") {
            return start(request);
        }
        static_cast<void>(filterOf(request.target.query, {}));
        return stop();
    } catch (BadQuestion const& error) {
        return errorReply(400, error.what());
    } catch (RecordingError const& error) {
        return errorReply(400, error.what());
    }
}

Reply Recordings::start(Request const& request) {
    std::optional<std::string> file;
    std::optional<std::uint64_t> limit;
    for (auto const& [name, value] : request.target.query) {
        if (name == "file" && !file) {
            file = value;
        } else if (name == "limit" && !limit) {
            limit = limitOf(value);
        } else {
            throw BadQuestion(
                fmt::format("'{}' is not expected: file and limit are, once each", name));
        }
    }
    if (!file) {
        throw BadQuestion("file is missing");
    }
    checkFile(*file);
    if (last_ && !last_->hasEnded()) {
        return errorReply(409, fmt::format("{} is being recorded already", last_->file()));
    }
    start(*file, limit.value_or(options_.limit));
    return textReply(200, textOf(true, last_.get()));
}

Reply Recordings::stop() {
    if (!last_ || last_->hasEnded() || last_->isStopped()) {
        return textReply(200, textOf(false, last_.get()));
    }
    last_->stop();
    return {.body = std::make_unique<Ending>(last_)};
}

}  // namespace IntfAddr
