// What hidl-gen's wrappers around an implementation in the same process are made from.
#pragma once

namespace android::hardware::details {

/// Where a platform under development watches calls. Nobody does on the bench.
class HidlInstrumentor {};

}  // namespace android::hardware::details
