// Whatever a scenario file holds, its replay comes to an end, and what it prints is whole.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

#include "RoundTrip.h"
#include "feeds/scenario/Operations.h"
#include "feeds/scenario/Replayer.h"

namespace {

// Takes an input to pieces; zero where there is nothing left.
class Bytes {
public:
    explicit Bytes(std::span<std::uint8_t const> bytes) : bytes_(bytes) {}

    bool empty() const { return bytes_.empty(); }
    std::uint8_t next() {
        if (bytes_.empty()) {
            return 0;
        }
        std::uint8_t const byte = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return byte;
    }
    template <class Pool>
    auto pick(Pool const& pool) {
        return pool[next() % std::size(pool)];
    }

private:
    std::span<std::uint8_t const> bytes_;
};

using Pool = std::span<std::string_view const>;

// Values of a field as JSON: few, so that operations are about the same things, and some that are
// refused.
Pool valuesOf(std::string_view field, std::string_view operation) {
    static constexpr std::string_view vrfs[] = {R"("red")", R"("default")", R"("")"};
    static constexpr std::string_view intfs[] = {R"("e0")", R"("e1")", R"("e2")", R"("")"};
    static constexpr std::string_view addrs[] = {R"("10.0.0.1/24")", R"("10.0.0.2/24")",
                                                 R"("10.0.0.1/16")", R"("10.1.0.1/32")",
                                                 R"("0.0.0.0/0")"};
    static constexpr std::string_view addrs6[] = {R"("1::1/64")", R"("1::2/64")", R"("1::1/32")",
                                                  R"("fe80::1/64")", R"("fe80::2/64")"};
    static constexpr std::string_view vips6[] = {R"("1::1")", R"("fe80::1")", R"("2::")"};
    static constexpr std::string_view lists[] = {"[]", R"(["10.0.0.2/24"])",
                                                 R"(["10.0.0.1/24","10.0.1.1/24"])"};
    static constexpr std::string_view lists6[] = {
        R"([{"addr":"1::1/64"},{"addr":"fe80::1/64"}])",
        R"([{"addr":"1::2/64","deprecated":true},{"addr":"fe80::2/64","deprecated":true}])"};
    static constexpr std::string_view flags[] = {"true", "false"};
    static constexpr std::string_view numbers[] = {"0", "0.5", "1.5", "2", "1e-300", "1e300", "-1"};
    static constexpr std::string_view counts[] = {"0", "1", "2", "7", "4294967295"};
    static constexpr std::string_view others[] = {R"("tables")", R"("sm")", R"({"red":[]})",
                                                  R"({"vrf":"red","addr":"fe80::1","intf":null})"};
    if (field == "addr") {
        return operation.starts_with("vip6")  ? Pool(vips6)
               : operation.starts_with("ip6") ? Pool(addrs6)
                                              : Pool(addrs);
    }
    if (field == "vrf") {
        return vrfs;
    }
    if (field == "intf" || field == "source" || field == "unnumbered" || field == "deviceName") {
        return intfs;
    }
    if (field == "primary") {
        return addrs;
    }
    if (field == "secondary") {
        return lists;
    }
    if (field == "addrs") {
        return lists6;
    }
    if (field == "deprecated" || field == "active" || field == "verbose" ||
        field == "ignoreKernelInterfaceState") {
        return flags;
    }
    if (field == "seconds" || field == "intfCleanupDelay" || field == "deferredIntfAddDelay") {
        return numbers;
    }
    return field == "what" || field == "rows" || field == "lookup" ? Pool(others) : Pool(counts);
}

std::string operationFrom(Bytes& bytes) {
    auto const& operation = bytes.pick(Scenario::operations());
    std::string line = "{\"op\":\"" + std::string(operation.name) + "\"";
    for (auto const& field : operation.fields) {
        bool const required = field.presence == Scenario::Field::Presence::required;
        if (required || bytes.next() % 2 == 1) {
            line += ",\"" + std::string(field.name) + "\":";
            line += bytes.pick(valuesOf(field.name, operation.name));
        }
    }
    return line + "}\n";
}

// The input itself, or operations that it chooses: chance alone would hardly write one.
std::string scenarioFrom(std::span<std::uint8_t const> input) {
    if (!input.empty() && input.front() % 4 == 0) {
        return {input.begin() + 1, input.end()};
    }
    Bytes bytes(input);
    bytes.next();
    std::string text = R"({"op":"table.add","vrf":"red"})"
                       "\n"
                       R"({"op":"ip.vrf.add","vrf":"red"})"
                       "\n"
                       R"({"op":"ip6.vrf.add","vrf":"red"})"
                       "\n";
    for (char const* intf : {"e0", "e1"}) {
        for (char const* op : {"kernel", "ip.intf", "ip6.intf"}) {
            text +=
                std::string(R"({"op":")") + op + R"(.add","vrf":"red","intf":")" + intf + "\"}\n";
        }
    }
    while (!bytes.empty()) {
        text += operationFrom(bytes);
    }
    return text;
}

// Every line is an object of a time, which never goes back, and one thing more; a failed invariant
// is the last.
void requireWhole(std::string const& printed, bool invariantFailed) {
    std::istringstream lines(printed);
    double last = 0.0;
    bool ended = false;
    for (std::string line; std::getline(lines, line);) {
        auto const object = Scenario::Json::parse(line);
        Fuzz::require(!ended && object.size() == 2 && object.at("t") >= last);
        last = object.at("t");
        ended = object.contains("assert");
    }
    Fuzz::require(ended == invariantFailed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::span const input(data, size);
    std::istringstream in(scenarioFrom(input));
    std::ostringstream out;
    Scenario::Options const options{
        .events = true, .traceLevel = size > 0 ? data[0] % 10 : 0, .maxTaskRuns = 200};
    bool invariantFailed = false;
    try {
        invariantFailed = Scenario::replay(in, out, options) == Scenario::Outcome::invariantFailed;
    } catch (Scenario::FileError const& error) {
        Fuzz::require(error.line() > 0 && error.what() != std::string());
    }
    requireWhole(out.str(), invariantFailed);
    return 0;
}
