// An operation that does not make sense on the router as it is: it names something that does not
// exist, or leaves a name empty. Nothing of the operation has been applied.
//
// What the library itself raises out of an operation (a range error, a failed assertion) is another
// thing: then the operation has been applied, and the router stays usable.
#pragma once

#include "Zin/Errors.h"

namespace Routing {

class OperationError : public Zin::Error {
public:
    using Error::Error;
};

}  // namespace Routing
