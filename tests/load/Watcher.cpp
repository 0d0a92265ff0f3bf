#include "load/Watcher.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "intfaddr/http/Client.h"
#include "load/Addresses.h"

namespace Load {

namespace {

using Json = nlohmann::json;

struct Cut {};  // thrown where a connection is broken

}  // namespace

void Watcher::run() {
    std::uniform_real_distribution<> exponent(6.0, 20.0);
    std::bernoulli_distribution forgets(0.05);
    while (!isDone()) {
        if (replica_->isWhole() && forgets(random_)) {
            beginWithNothing();
        }
        try {
            follow(static_cast<std::size_t>(std::exp2(exponent(random_))));
        } catch (Cut const&) {
        }
    }
}

void Watcher::beginWithNothing() {
    ++counts_.tables;
    replica_.emplace();
    stream_.emplace([this](std::string_view data) { take(data); });
}

void Watcher::take(std::string_view data) {
    auto const event = Json::parse(data);
    auto const resumptions = replica_->resumptions();
    auto const anew = replica_->anew();
    bool const isChange = replica_->isWhole() && event.contains("present");
    replica_->apply(event);
    ++counts_.events;
    counts_.ofOthers += isChange && !event.at("virtual").get<bool>();
    counts_.resumptions += replica_->resumptions() - resumptions;
    counts_.anew += replica_->anew() - anew;
}

// So many bytes of the stream at most.
void Watcher::follow(std::size_t bytes) {
    IntfAddr::Client client(path_);
    stream_->begin();
    client.follow("/v1/watch?initial", stream_->lastEventId(), [&](std::string_view piece) {
        if (client.status() != 200) {
            throw std::runtime_error(fmt::format("{}: {}", client.status(), piece));
        }
        stream_->put(piece.substr(0, bytes));
        bytes -= std::min(bytes, piece.size());
        if (bytes == 0 || isDone()) {
            throw Cut();
        }
    });
    throw std::runtime_error("a stream of events has ended");
}

bool Watcher::isDone() const {
    static auto const last = fmt::format("default {}/32 -", addressOf(lastAddress));
    return replica_->isWhole() && replica_->rows().contains(last);
}

std::size_t toldChanges(std::string const& path) {
    std::optional<std::size_t> told;
    IntfAddr::EventStream stream([&](std::string_view data) {
        told = Json::parse(data).at("seq").get<std::size_t>();
        throw Cut();
    });
    try {
        IntfAddr::Client(path).follow("/v1/watch", "",
                                      [&](std::string_view piece) { stream.put(piece); });
    } catch (Cut const&) {
    }
    return told.value();
}

}  // namespace Load
