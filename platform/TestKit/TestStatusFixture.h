// For tests of published status that both address families have: the tests are written once, over
// a struct of the family that gives its status, and the operations on the collection that it holds,
// names that both share.
//
//     struct OfIp {
//         using Status = Ip::Status;
//         static constexpr std::string_view attribute = "vrfIpIntfStatus";
//         auto const& all() const { return status->vrfIpIntfStatus(); }
//         bool has(L3::VrfName const& vrf) const { return status->vrfIpIntfStatusHas(vrf); }
//         ...
//         Zin::Ptr<Status> const status = Ip::statusFactory();
//     };
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TestKit/StatusRecorder.h"
#include "Zin/Format.h"

namespace TestKit {

template <class Family>
struct StatusFixture : Family {
    std::vector<std::string> keys() const {
        std::vector<std::string> texts;
        for (auto const& member : this->all()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    // What the recorder writes down of the collection: "vrfIpIntfStatus red present".
    static std::string present(std::string_view key) { return event(key, "present"); }
    static std::string absent(std::string_view key) { return event(key, "absent"); }

    Events events;
    Recorder<typename Family::Status> recorder{this->status, events};

private:
    static std::string event(std::string_view key, std::string_view what) {
        return fmt::format("{} {} {}", Family::attribute, key, what);
    }
};

}  // namespace TestKit
