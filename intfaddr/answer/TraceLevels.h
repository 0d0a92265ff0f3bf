// How much each class traces (Pell/TraceHandle.h), and how it is changed, by whoever may:
//
//   GET /v1/trace                       {"from":"agent","classes":[{"class":...,"level":...},...]}
//   PUT /v1/trace?CLASS=LEVEL&...       the same, when all of it is set; a CLASS of * is all of
//   them
//
// Levels are set in their order, all or none.
#pragma once

#include "intfaddr/answer/Rights.h"
#include "intfaddr/http/Reply.h"
#include "intfaddr/http/Request.h"

namespace IntfAddr {

class TraceLevels {
public:
    // Borrows the rights.
    explicit TraceLevels(Rights const& rights) : rights_(rights) {}

    // 403 for who has no right to, 400 for a bad question.
    Reply reply(Request const& request) const;

private:
    Rights const& rights_;
};

}  // namespace IntfAddr
