#include "IpLib/IntfAddrVrfTableSm/Module.h"

#include "Interface/Module.h"
#include "Ip/Module.h"
#include "Ip6/Module.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSmTypes/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Pell/Module.h"
#include "Tremlog/Module.h"
#include "Velk/Module.h"
#include "VirtualIp/Module.h"
#include "Zin/Module.h"

namespace IpLib {
namespace {

// For those who ask by an attribute's name that all of it be handled again.
template <void (IntfAddrVrfTableSm::*handler)()>
void handleAll(Zin::Entity& sm) {
    (static_cast<IntfAddrVrfTableSm&>(sm).*handler)();
}

}  // namespace

Zin::ModuleRegistration const intfAddrVrfTableSmModule{
    {.name = "IpLib::IntfAddrVrfTableSm",
     .dependsOn = {&Interface::module, &Ip::module, &Ip6::module, &intfAddrVrfTableSmTypesModule,
                   &L3::module, &Nimb::module, &Pell::module, &Tremlog::module, &Velk::module,
                   &VirtualIp::module, &Zin::module},
     .types = {
         {
             .name = "IpLib::IntfAddrVrfTableSm",
             .attributes =
                 {{"vrfName", "L3::VrfName"},
                  {"networkNamespace", "Nimb::NamespaceName"},
                  {"smConfig", "IpLib::IntfAddrVrfTableSmConfig"},
                  {"scheduler", "Velk::TaskScheduler"},
                  {"virtualIpStatus", "VirtualIp::VirtualIpStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVirtualIpAll>},
                  {"virtualIp6Status", "VirtualIp::VirtualIp6Status",
                   handleAll<&IntfAddrVrfTableSm::handleVirtualIp6All>},
                  {"kernelIntfDir", "Interface::DeviceIntfStatusDir",
                   handleAll<&IntfAddrVrfTableSm::handleKernelIntfAll>},
                  {"intfAddrVrfTable", "IpLib::IntfAddrVrfTable"},
                  {"vrfIpIntfStatus", "Ip::VrfIpIntfStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVrfIpIntfStatus>},
                  {"vrfIp6IntfStatus", "Ip6::VrfIp6IntfStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVrfIp6IntfStatus>},
                  {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"},
                  {"intfCleanupBacklog", "IpLib::IntfAddrVrfTableImpl::IntfCleanupBacklog"},
                  {"deferredIntfAddBacklog", "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog"},
                  {"intfCleanupSm", "IpLib::IntfAddrVrfTableImpl::IntfCleanupSm"},
                  {"deferredIntfAddSm", "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSm"},
                  {"ipIntfStatusSm", "IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm"},
                  {"ip6IntfStatusSm", "IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm"}},
         },
         {
             .name = "IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm",
             .attributes = {{"ipIntfStatus", "Ip::IpIntfStatus"},
                            {"afIntfStatusParent",
                             "IpLib::IntfAddrVrfTableImpl::AfIntfStatusParentInterface"},
                            {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"},
                            {"maybeShadowPrimaryAddr", "Nimb::IpGenAddrWithMask"},
                            {"maybeShadowIsUnnumbered", "bool"}},
         },
         {
             .name = "IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm",
             .attributes = {{"ip6IntfStatus", "Ip6::IntfStatus"},
                            {"afIntfStatusParent",
                             "IpLib::IntfAddrVrfTableImpl::AfIntfStatusParentInterface"},
                            {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"}},
         },
     }}};

}  // namespace IpLib
