// What the generated classes of the interfaces leave to the platform: their names, how they are
// found, what every service answers.
#include <android/hidl/base/1.0/IBase.h>
#include <android/log.h>
#include <hidl/Status.h>
#include <vendor/qve/hardware/filehandle/1.0/BsFileHandle.h>
#include <vendor/qve/hardware/qvatcmd/1.0/BsQvAtCmd.h>

#include <new>

#include "virtual_phone/hidl/services.h"

namespace vp = virtual_phone;
using android::sp;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;

namespace {

/// getService() waits while a fault says that the service is late, as a phone's does for one that
/// is not up yet. Else it answers at once, too: what is not there on the bench will not come.
template <typename Interface, typename Wrapper>
sp<Interface> find(const std::string& instance, bool get_stub, vp::WhenLate when_late) {
  const vp::Service service = vp::find_service(Interface::descriptor, instance, when_late);
  if (service == nullptr) return nullptr;
  const sp<Interface> found(dynamic_cast<Interface*>(service.get()));
  if (found == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, "VirtualPhone", "The service %s is no %s.",
                        instance.c_str(), Interface::descriptor);
  }
  if (found == nullptr || get_stub) return found;
  return sp<Interface>(new (std::nothrow) Wrapper(found));
}

}  // namespace

namespace android::hidl::base::V1_0 {

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

Return<void> IBase::interfaceChain(interfaceChain_cb give) {
  give({descriptor});
  return Void();
}

Return<void> IBase::interfaceDescriptor(interfaceDescriptor_cb give) {
  give(descriptor);
  return Void();
}

Return<void> IBase::ping() { return Void(); }

Return<sp<IBase>> IBase::castFrom(const sp<IBase>& parent, bool) { return parent; }

}  // namespace android::hidl::base::V1_0

// An interface NAME of a package, which inherits IBase directly. Where a cast cannot be made it
// gives null: asking a service in the same process cannot fail, so there is no error to emit.
// registerForNotifications refuses: no service comes later.
#define FCX_HIDL_INTERFACE(space, name, package)                                            \
  namespace space {                                                                         \
  const char* I##name::descriptor = package "::I" #name;                                    \
  Return<void> I##name::interfaceChain(interfaceChain_cb give) {                            \
    give({descriptor, IBase::descriptor});                                                  \
    return Void();                                                                          \
  }                                                                                         \
  Return<void> I##name::interfaceDescriptor(interfaceDescriptor_cb give) {                  \
    give(descriptor);                                                                       \
    return Void();                                                                          \
  }                                                                                         \
  Return<void> I##name::ping() { return Void(); }                                           \
  Return<sp<I##name>> I##name::castFrom(const sp<I##name>& parent, bool) { return parent; } \
  Return<sp<I##name>> I##name::castFrom(const sp<IBase>& parent, bool) {                    \
    return sp<I##name>(dynamic_cast<I##name*>(parent.get()));                               \
  }                                                                                         \
  sp<I##name> I##name::getService(const std::string& instance, bool get_stub) {             \
    return find<I##name, Bs##name>(instance, get_stub, vp::WhenLate::waits);                \
  }                                                                                         \
  sp<I##name> I##name::tryGetService(const std::string& instance, bool get_stub) {          \
    return find<I##name, Bs##name>(instance, get_stub, vp::WhenLate::gives_up);             \
  }                                                                                         \
  android::status_t I##name::registerAsService(const std::string& instance) {               \
    const sp<IBase> service(this);                                                          \
    vp::register_service(descriptor, instance, [service](vp::Phone&) { return service; });  \
    return android::OK;                                                                     \
  }                                                                                         \
  bool I##name::registerForNotifications(                                                   \
      const std::string&, const sp<android::hidl::manager::V1_0::IServiceNotification>&) {  \
    return false;                                                                           \
  }                                                                                         \
  Bs##name::Bs##name(const sp<I##name> impl) : mImpl(impl) {}                               \
  }

FCX_HIDL_INTERFACE(vendor::qve::hardware::filehandle::V1_0, FileHandle,
                   "vendor.qve.hardware.filehandle@1.0")
FCX_HIDL_INTERFACE(vendor::qve::hardware::qvatcmd::V1_0, QvAtCmd, "vendor.qve.hardware.qvatcmd@1.0")
