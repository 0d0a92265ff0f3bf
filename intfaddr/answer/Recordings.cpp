#include "intfaddr/answer/Recordings.h"

#include <filesystem>
#include <limits>
#include <optional>
#include <utility>

#include "Zin/Format.h"
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

void Recordings::addTo(Routes& routes) {
    routes.add({.method = "PUT",
                .path = "/v1/record",
                .parameters = std::set<std::string>{"file", "limit"},
                .needed = {"file"}},
               [this](Request const& request, Parameters given) {
                   return permitted(request, [&] { return startAsked(std::move(given)); });
               });
    routes.add({.method = "DELETE", .path = "/v1/record"},
               [this](Request const& request, Parameters const&) {
                   return permitted(request, [&] { return stop(); });
               });
}

Reply Recordings::permitted(Request const& request, std::function<Reply()> const& act) {
    if (!Rights::mayWriteFiles(request.peer)) {
        return errorReply(403, "only root and the agent's own user may have it write a file");
    }
    try {
        return act();
    } catch (RecordingError const& error) {
        throw BadQuestion(error.what());
    }
}

Reply Recordings::startAsked(Parameters given) {
    auto const file = takeValue(given, "file");
    auto const limit = takeValue(given, "limit");
    std::uint64_t const bytes =
        limit ? numberOf("limit", *limit, {.least = Limits::least}) : options_.limit;
    checkFile(*file);
    if (last_ && !last_->hasEnded()) {
        return errorReply(409, fmt::format("{} is being recorded already", last_->file()));
    }
    start(*file, bytes);
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
