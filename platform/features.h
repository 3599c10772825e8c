// The vendor's feature library. The phone's library provides this class; on the bench the virtual
// phone does.
#pragma once

#include <optional>

namespace com::qve::config {

class Features2 {
 public:
  /// Whether the customisation package lies on an overlay that only the file-handle service reads.
  /// Nothing when the product does not say.
  static std::optional<bool> product_overlayfs();
};

}  // namespace com::qve::config
