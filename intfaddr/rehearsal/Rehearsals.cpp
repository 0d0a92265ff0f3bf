#include "intfaddr/rehearsal/Rehearsals.h"

#include <csignal>
#include <cstddef>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr std::size_t pieceSize = std::size_t{16} << 10;
// Of what the program says of a failure.
constexpr std::size_t mostSaid = 4096;
constexpr int retryAfter = 1;  // in seconds

// Of the command what-if: rows would come or go, none would, or something is not known.
bool isAnswer(int exitStatus) { return exitStatus == 0 || exitStatus == 1 || exitStatus == 3; }
constexpr int badScenario = 2;

Reply busy(std::string_view why) {
    auto reply = errorReply(503, why);
    reply.headers.emplace_back("Retry-After", fmt::format("{}", retryAfter));
    return reply;
}

}  // namespace

class Rehearsals::Run {
public:
    void start(EventLoop& loop, std::vector<std::string> const& command, std::string_view scenario,
               ChildLimits const& limits, std::function<void()> ended) {
        time_ = limits.time;
        child_ = std::make_unique<ChildProcess>(loop, command, scenario, limits,
                                                [this, ended = std::move(ended)] {
                                                    hasEnded_ = true;
                                                    more();
                                                    ended();
                                                });
    }

    bool hasEnded() const { return hasEnded_; }
    void abandon() { child_->kill(); }

    // Throws RefusedReply where there is no answer.
    void check() const {
        if (child_->isOverdue()) {
            throw RefusedReply(503, fmt::format("it takes longer than {} s", time_));
        }
        auto const status = child_->exitStatus();
        if (!status) {
            throw RefusedReply(503,
                               child_->signal() == SIGXFSZ
                                   ? "its answer is too long"
                                   : fmt::format("it was ended by signal {}", child_->signal()));
        }
        if (!isAnswer(*status)) {
            throw RefusedReply(*status == badScenario ? 400 : 500, said());
        }
    }
    std::string piece(std::size_t offset) const {
        return readAt(child_->output(), offset, pieceSize);
    }

    std::function<void()> more = [] {};

private:
    // Without the name of the program.
    std::string said() const {
        std::string text = readAt(child_->error(), 0, mostSaid);
        text = text.substr(0, text.find('\n'));
        constexpr std::string_view name = "intfaddr: ";
        return text.starts_with(name) ? text.substr(name.size()) : text;
    }

    std::unique_ptr<ChildProcess> child_;
    Zin::Seconds time_ = 0.0;
    bool hasEnded_ = false;
};

class Rehearsals::Answer final : public Body {
public:
    explicit Answer(std::shared_ptr<Run> run) : run_(std::move(run)) {}
    ~Answer() override {
        run_->more = [] {};
        run_->abandon();
    }

    Progress next(std::string& buffer) override {
        if (!run_->hasEnded()) {
            return Progress::waits;
        }
        if (sent_ == 0) {
            run_->check();
        }
        auto const piece = run_->piece(sent_);
        sent_ += piece.size();
        buffer += piece;
        return piece.empty() ? Progress::ended : Progress::more;
    }
    void onMore(std::function<void()> more) override { run_->more = std::move(more); }

private:
    std::shared_ptr<Run> const run_;
    std::size_t sent_ = 0;
};

Rehearsals::Rehearsals(EventLoop& loop, std::vector<std::string> command, ChildLimits const& limits)
    : loop_(loop), command_(std::move(command)), limits_(limits) {}

Rehearsals::~Rehearsals() = default;

void Rehearsals::addTo(Routes& routes) {
    routes.add({.method = "POST", .path = "/v1/whatif"}, [this](Request const& request,
                                                                Parameters const&) {
        if (running_) {
            return busy("another rehearsal is going on");
        }
        auto const run = std::make_shared<Run>();
        try {
            run->start(loop_, command_, request.body, limits_, [this] { running_.reset(); });
        } catch (std::system_error const& error) {
            return busy(error.what());
        }
        running_ = run;
        return Reply{.body = std::make_unique<Answer>(run)};
    });
}

}  // namespace IntfAddr
