// What a router holds of its VRF at one moment, for comparison: rows, indexes, sets, what waits,
// and when the tasks get to it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupKey.h"
#include "Velk/TaskScheduler.h"
#include "router/Router.h"

namespace Nested {

struct Tables {
    // A row that an index or a set refers to, and whether it is one of the table's.
    struct Reference {
        IpLib::IntfAddrEntryContent content;
        bool stands;
        friend auto operator<=>(Reference const&, Reference const&) = default;
    };
    struct Set {
        Nimb::IpGenPrefix subnet;
        Nimb::IntfId intf;
        std::vector<Reference> entries;
        std::vector<Reference> deprecated;
        friend auto operator<=>(Set const&, Set const&) = default;
    };
    struct Cleanup {
        IpLib::IntfAddrVrfTableImpl::IntfCleanupKey key;
        Zin::Seconds since;
        friend bool operator==(Cleanup const&, Cleanup const&) = default;
    };

    // `never` where a task is not armed, or no machine runs.
    struct Tasks {
        Zin::Seconds cleanup = Velk::never;
        Zin::Seconds deferredAdd = Velk::never;
        bool anotherFollows = false;  // a pass of deferred adds, when that one is over
        friend bool operator==(Tasks const&, Tasks const&) = default;
    };

    // Sorted.
    std::vector<IpLib::IntfAddrEntryContent> rows;
    std::vector<Reference> byAddr;
    std::vector<Set> sets;
    std::vector<std::pair<Nimb::IntfId, Reference>> linkLocal;
    // In their own order; both empty where no machine runs. Clean-ups: those that are pending.
    std::vector<IpLib::IntfAddrWithMaskKey> deferred;
    std::vector<Cleanup> cleanups;
    Tasks tasks;

    friend bool operator==(Tables const&, Tables const&) = default;
};

Tables tablesOf(Routing::Router const& router);
// "10.0.0.1/24 Ethernet1"
std::vector<std::string> rowTexts(Tables const& tables);
// The table alone, without what is the interface's, and nothing that waits.
Tables tableWithout(Tables tables, Nimb::IntfId const& intf);

// A line for each of the seven that differs, with what each side has of it; "" where all are equal.
std::string difference(Tables const& within, Tables const& after);

}  // namespace Nested
