// Who is told when a service is registered. The bench tells nobody (registerForNotifications
// answers false), so there is nothing to implement: generated code only names the class.
#pragma once

#include <android/hidl/base/1.0/IBase.h>

namespace android::hidl::manager::V1_0 {

struct IServiceNotification : base::V1_0::IBase {};

}  // namespace android::hidl::manager::V1_0
