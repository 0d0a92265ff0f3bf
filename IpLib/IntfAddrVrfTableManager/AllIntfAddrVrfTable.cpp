#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"

#include "Zin/Registry.h"

namespace IpLib {
namespace {

Zin::TypeRegistration const registration{{
    .name = "IpLib::AllIntfAddrVrfTable",
    .attributes = {{"intfAddrVrfTable", "Zin::HashMap2018"}},
}};

}  // namespace

Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTableFactory() {
    return Zin::make<AllIntfAddrVrfTable>();
}

}  // namespace IpLib
