#include "intfaddr/answer/Metrics.h"

#include <gmock/gmock.h>

#include <sstream>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr double beginning = 1'000'000.0;

struct MetricsTest : AnswersTest {
    MetricsTest() { metrics.addTo(routes); }

    // To where the agent has read everything.
    void begin() {
        runTo(1.0);
        history.begin();
    }
    void run(Zin::Seconds time) {
        runTo(time);
        history.catchUp();
    }
    // An address that waits for another one.
    void conflict() {
        addAddress(7, "10.0.0.1/24");
        addAddress(8, "10.0.0.1/24");
    }
    std::string all() const {
        Request request;
        request.method = "GET";
        request.target.segments = {"metrics"};
        Reply const reply = routes.reply(request);
        EXPECT_EQ(reply.status, 200U);
        EXPECT_EQ(reply.contentType, "text/plain; version=0.0.4; charset=utf-8");
        return drained(*reply.body);
    }
    // What follows the names of those samples: "{vrf=\"red\"} 1".
    std::vector<std::string> samples(std::string const& name) const {
        std::vector<std::string> found;
        std::istringstream text(all());
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with(name) && std::string(" {").find(line[name.size()]) < 2) {
                found.push_back(line.substr(name.size()));
            }
        }
        return found;
    }
    std::string sample(std::string const& name) const {
        auto const found = samples(name);
        return found.size() == 1 ? found.front() : std::to_string(found.size()) + " samples";
    }

    // "eth1 for 60 s"; empty where none waits.
    std::string longestWaiting() const {
        std::string text;
        for (auto const& one : samples("intfaddr_waiting_longest_seconds")) {
            std::string const before = "{vrf=\"default\",interface=\"";
            EXPECT_TRUE(one.starts_with(before)) << one;
            auto const end = one.find("\"} ");
            text += fmt::format("{} for {:.0f} s", one.substr(before.size(), end - before.size()),
                                std::stod(one.substr(end + 3)));
        }
        return text;
    }

    HistoryRecorder history{agent.router(), agent.supervisor().follower(),
                            AddressHistory::Options()};
    Traffic traffic;
    Zin::Seconds longestStall = 0.0;
    Metrics const metrics{agent.router(),
                          agent.feed(),
                          {.recorder = history, .now = [this] { return kernel.now(); }},
                          AnsweringAgent{.identity = "me",
                                         .changes = changes,
                                         .operations = agent.router().inputs().effects(),
                                         .supervisor = agent.supervisor(),
                                         .recordings = recordings,
                                         .version = "1.2",
                                         .times =
                                             [this] {
                                                 return AnsweringAgent::Times{
                                                     .up = kernel.now(),
                                                     .longestStall = longestStall};
                                             }},
                          traffic,
                          [this] { return beginning + kernel.now(); }};
};

TEST_F(MetricsTest, RowsAreThoseOfEachVrfAndTheirChangesAreCounted) {
    kernel.makeNamespace("ns-red");
    addAddress(7, "10.0.0.1/24");
    begin();
    addAddress(7, "10.0.1.1/24");
    run(2.0);
    removeAddress(7, "10.0.1.1/24");
    run(3.0);
    EXPECT_THAT(samples("intfaddr_rows"), ElementsAre("{vrf=\"default\"} 1", "{vrf=\"red\"} 0"));
    EXPECT_THAT(samples("intfaddr_rows_added_total"),
                ElementsAre("{vrf=\"default\"} 2", "{vrf=\"red\"} 0"));
    EXPECT_THAT(samples("intfaddr_rows_removed_total"),
                ElementsAre("{vrf=\"default\"} 1", "{vrf=\"red\"} 0"));
}

TEST_F(MetricsTest, WhatAVrfHadGoesWithIt) {
    begin();
    Routing::VipAdd const add{"red", Nimb::IpAddrWithMask("10.0.0.9/32")};
    agent.apply({Routing::TableAdd{"red"}, add});
    EXPECT_THAT(samples("intfaddr_rows_added_total"), Contains("{vrf=\"red\"} 1"));
    agent.apply({Routing::TableDel{"red"}});
    EXPECT_THAT(all(), Not(HasSubstr("red")));
    agent.apply({Routing::TableAdd{"red"}});
    EXPECT_THAT(samples("intfaddr_rows_added_total"), Contains("{vrf=\"red\"} 1"));
    EXPECT_THAT(samples("intfaddr_rows_removed_total"), Contains("{vrf=\"red\"} 0"));
}

TEST_F(MetricsTest, TheAddressThatHasWaitedForTheLongestSaysForHowLong) {
    begin();
    EXPECT_EQ(sample("intfaddr_waiting_addresses"), "{vrf=\"default\"} 0");
    EXPECT_EQ(longestWaiting(), "");
    run(10.0);
    conflict();
    run(12.0);
    add(own, 9, "eth2");
    addAddress(9, "10.0.0.2/24");
    run(70.0);
    EXPECT_EQ(sample("intfaddr_waiting_addresses"), "{vrf=\"default\"} 2");
    EXPECT_EQ(longestWaiting(), "eth1 for 60 s");
    removeAddress(8, "10.0.0.1/24");
    run(72.0);
    EXPECT_EQ(longestWaiting(), "eth2 for 60 s");
    removeAddress(7, "10.0.0.1/24");
    run(80.0);
    EXPECT_EQ(longestWaiting(), "");
}

TEST_F(MetricsTest, WhatIsTriedInVainOrRebuiltHasWaitedAllTheTime) {
    begin();
    run(10.0);
    conflict();
    addAddress(7, "10.9.0.1/24");
    run(20.0);
    removeAddress(7, "10.9.0.1/24");
    run(30.0);
    EXPECT_EQ(sample("intfaddr_task_runs_total"), " 2");
    failOnce();
    run(70.0);
    EXPECT_EQ(sample("intfaddr_rebuilds_after_failure_total"), " 1");
    EXPECT_EQ(longestWaiting(), "eth1 for 60 s");
}

TEST_F(MetricsTest, WhatWaitedAtTheBeginningHasWaitedSinceThen) {
    conflict();
    begin();
    run(5.0);
    EXPECT_EQ(longestWaiting(), "eth1 for 4 s");
}

TEST_F(MetricsTest, CleanupsArePendingUntilTheirTimeIsOver) {
    addAddress(7, "10.0.0.1/24");
    begin();
    kernel.links().remove({own, 7});
    run(1.2);
    // Of either family.
    EXPECT_EQ(sample("intfaddr_pending_cleanups"), "{vrf=\"default\"} 2");
    run(5.0);
    EXPECT_EQ(sample("intfaddr_pending_cleanups"), "{vrf=\"default\"} 0");
}

TEST_F(MetricsTest, AnAgentThatHasNotReadEverythingHasNotStarted) {
    EXPECT_EQ(sample("intfaddr_started"), " 0");
    EXPECT_THAT(samples("intfaddr_audit_last_completed_timestamp_seconds"), IsEmpty());
    begin();
    EXPECT_EQ(sample("intfaddr_started"), " 1");
}

TEST_F(MetricsTest, AVrfThatIsNotKnownAsItIsNowIsStale) {
    kernel.makeNamespace("ns-red");
    begin();
    EXPECT_THAT(samples("intfaddr_vrf_stale"),
                ElementsAre("{vrf=\"default\"} 0", "{vrf=\"red\"} 0"));
    kernel.faults().next(Netlink::Fake::Fault::interruptDump, 0, 2);
    kernel.overrun(own);
    kernel.links().setUp({own, 8}, false);
    run(1.002);
    EXPECT_THAT(samples("intfaddr_vrf_stale"),
                ElementsAre("{vrf=\"default\"} 1", "{vrf=\"red\"} 0"));
}

TEST_F(MetricsTest, RebuildsAreCountedByTheirReason) {
    addAddress(7, "10.0.0.1/24");
    begin();
    failOnce();
    EXPECT_EQ(sample("intfaddr_vrf_degraded"), "{vrf=\"default\"} 0");
    EXPECT_EQ(sample("intfaddr_rebuilds_after_failure_total"), " 1");
    EXPECT_EQ(sample("intfaddr_rebuilds_after_audit_total"), " 0");
    failOnce();
    EXPECT_EQ(sample("intfaddr_vrf_degraded"), "{vrf=\"default\"} 1");
    agent.router().table("default")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    run(20.0);
    EXPECT_EQ(sample("intfaddr_rebuilds_after_failure_total"), " 2");
    EXPECT_EQ(sample("intfaddr_faults_rebuilt_in_vain_total"), " 0");
}

TEST_F(MetricsTest, AuditsSayWhenTheLastWasOver) {
    begin();
    run(20.5);
    double const at = std::stod(sample("intfaddr_audit_last_completed_timestamp_seconds"));
    EXPECT_GT(at, beginning + 18.0);
    EXPECT_LE(at, beginning + 20.5);
}

TEST_F(MetricsTest, TasksThatRanAreCounted) {
    begin();
    EXPECT_EQ(sample("intfaddr_task_runs_total"), " 0");
    conflict();
    run(60.0);
    EXPECT_EQ(sample("intfaddr_task_runs_total"), " 1");
    longestStall = 0.25;
    EXPECT_EQ(sample("intfaddr_longest_stall_seconds"), " 0.25");
}

TEST_F(MetricsTest, EachNamespaceCountsItsLossesAndDumps) {
    begin();
    kernel.overrun(own);
    run(20.0);
    EXPECT_EQ(sample("intfaddr_kernel_losses_total"), "{vrf=\"default\"} 1");
    EXPECT_EQ(sample("intfaddr_kernel_dumps_total"), "{vrf=\"default\"} 2");
}

TEST_F(MetricsTest, TheProcessSaysSinceWhenItRunsAndWhatItTakes) {
    begin();
    run(7.0);
    EXPECT_EQ(sample("process_start_time_seconds"), " 1000000");
    EXPECT_GT(std::stod(sample("process_resident_memory_bytes")), 1e6);
}

TEST_F(MetricsTest, TrafficIsWhatTheServersHaveCounted) {
    traffic.requests = 6;
    traffic.clients = 3;
    traffic.refusedClients = 2;
    traffic.droppedReaders = 1;
    traffic.times.add(0.0002);
    traffic.times.add(0.0004);
    traffic.times.add(20.0);
    begin();
    ChangeLog::Reader const reader(changes, [] {});
    EXPECT_EQ(sample("intfaddr_http_requests_total"), " 6");
    EXPECT_EQ(sample("intfaddr_http_clients"), " 3");
    EXPECT_EQ(sample("intfaddr_http_clients_refused_total"), " 2");
    EXPECT_EQ(sample("intfaddr_http_readers_dropped_total"), " 1");
    EXPECT_EQ(sample("intfaddr_watchers"), " 1");
    auto const buckets = samples("intfaddr_http_request_duration_seconds_bucket");
    ASSERT_EQ(buckets.size(), Traffic::Times::bounds.size() + 1);
    EXPECT_EQ(buckets[0], "{le=\"0.0001\"} 0");
    EXPECT_EQ(buckets[1], "{le=\"0.00025\"} 1");
    EXPECT_EQ(buckets[2], "{le=\"0.0005\"} 2");
    EXPECT_EQ(buckets[15], "{le=\"10\"} 2");
    EXPECT_EQ(buckets[16], "{le=\"+Inf\"} 3");
    EXPECT_EQ(sample("intfaddr_http_request_duration_seconds_sum"), " 20.0006");
    EXPECT_EQ(sample("intfaddr_http_request_duration_seconds_count"), " 3");
}

TEST_F(MetricsTest, WithManyVrfsItComesInPiecesOfSomeKiB) {
    begin();
    std::vector<Routing::Operation> operations;
    for (int i = 0; i < 500; ++i) {
        operations.push_back(Routing::TableAdd{fmt::format("vrf{:03}", i)});
    }
    agent.apply(operations);
    Request request;
    request.method = "GET";
    request.target.segments = {"metrics"};
    Reply const reply = routes.reply(request);
    Body::Progress progress{};
    std::set<std::string> lines;
    std::size_t count = 0;
    do {
        std::string piece;
        progress = reply.body->next(piece);
        EXPECT_LE(piece.size(), 4096U);
        std::istringstream text(piece);
        for (std::string line; std::getline(text, line); ++count) {
            lines.insert(line.substr(0, line.rfind(' ')));
        }
        if (lines.contains("intfaddr_rows{vrf=\"vrf099\"}")) {
            agent.apply({Routing::TableDel{"vrf400"}});
        }
    } while (progress != Body::Progress::ended);
    EXPECT_EQ(lines.size(), count);
    EXPECT_TRUE(lines.contains("intfaddr_rows{vrf=\"vrf499\"}"));
    EXPECT_FALSE(lines.contains("intfaddr_rows{vrf=\"vrf400\"}"));
}

}  // namespace
}  // namespace IntfAddr
