// The phone's HIDL services, which live in the process that asks for them.
//
// A service is a class that implements a generated interface, and a factory that says whether the
// phone has it at this moment:
//
//   class AtService : public IQvAtCmd {
//    public:
//     Return<void> request(const QVATCMDRequest& request, request_cb give) override {
//       QVATCMDResponse response{};
//       ...
//       give(response);  // exactly once, unless the call fails
//       return Void();   // or Status::fromStatusT(DEAD_OBJECT): a call that did not get through
//     }
//   };
//
//   Service at_service(Phone& phone) {
//     static const android::sp<AtService> service(new (std::nothrow) AtService);
//     return is_modem_on(phone) ? service : nullptr;
//   }
//
//   [[maybe_unused]] const bool is_registered =
//       (register_service(IQvAtCmd::descriptor, "atservice", at_service), true);
//
// Callers find it with IQvAtCmd::getService("atservice"). They get hidl-gen's wrapper around it,
// which answers a null callback with a failed Return as a phone's proxy does, so a service need
// not. With `getStub` they get the service itself. What a service does to the phone goes through
// platform_call (virtual_phone/core/platform_call.h): nothing may throw from a call.
#pragma once

#include <android/hidl/base/1.0/IBase.h>

#include <functional>
#include <string>

#include "virtual_phone/core/phone.h"
#include "virtual_phone/faults/faults.h"

namespace virtual_phone {

using Service = android::sp<android::hidl::base::V1_0::IBase>;

/// Gives the service, or null when the phone does not have it at this moment. May throw Error,
/// which is logged and means the same. Called for every lookup that no fault strikes, by any
/// thread.
using ServiceFactory = std::function<Service(Phone&)>;

/// From now on `factory` answers lookups of this instance, in place of one that did. At any time,
/// before main() too. It serves every phone that this process selects.
/// @param descriptor the interface's own: IQvAtCmd::descriptor
/// @param fault_name of kServices, whose faults strike its lookups; null when none do
void register_service(const std::string& descriptor, const std::string& instance,
                      ServiceFactory factory, const char* fault_name = nullptr);

/// What getService() and tryGetService() are made of: the service, or null when there is none or no
/// usable phone. Nothing is locked while it waits for a late one.
Service find_service(const std::string& descriptor, const std::string& instance,
                     WhenLate when_late = WhenLate::waits) noexcept;

}  // namespace virtual_phone
