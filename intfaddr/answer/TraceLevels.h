// How much each class traces (Pell/TraceHandle.h), and how it is changed, by whoever may:
//
//   GET /v1/trace                       {"from":"agent","classes":[{"class":...,"level":...},...]}
//   PUT /v1/trace?CLASS=LEVEL&...       the same, when all of it is set; a CLASS of * is all of
//   them
//
// Levels are set in their order, all or none.
#pragma once

#include "intfaddr/answer/Rights.h"
#include "intfaddr/answer/Routes.h"

namespace IntfAddr {

class TraceLevels {
public:
    // Borrows the rights.
    explicit TraceLevels(Rights const& rights) : rights_(rights) {}

    // Who has no right to change them gets a 403. Outlives the routes.
    void addTo(Routes& routes) const;

private:
    static Reply change(Parameters const& given);

    Rights const& rights_;
};

}  // namespace IntfAddr
