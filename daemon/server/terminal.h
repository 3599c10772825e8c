// A pseudo-terminal: a serial line that programs open by its name, one after another.
#pragma once

#include <android-base/unique_fd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "daemon/server/loop.h"

namespace factory_daemon {

/// It stays as the first client has found it, whatever one leaves behind: raw, and open to the next
/// one although a client has taken it for itself.
class Terminal {
 public:
  /// A client has closed it.
  struct Left {
    std::string bytes;      ///< what there was of it, or of others
    bool is_over = false;   ///< who has it open now, if anybody, has come after that
    bool is_known = false;  ///< whose the bytes are: nobody came before they were taken
    bool is_open = false;   ///< somebody has it open
  };
  /// @param link where its name is linked, in place of another link, or empty
  /// @param left called when a client has closed it
  /// Throws LoopError.
  Terminal(Loop& loop, std::filesystem::path link, std::function<void(const Left& left)> left);
  /// Removes the link.
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const std::string& name() const { return name_; }
  /// The server's end: for a Stream, which takes it. Throws LoopError.
  int duplicate() const;
  /// Lets the next client open it. To be called when something was read: the first that a client
  /// does is to take it for itself.
  void share();
  /// What is on its way to clients is gone, and what comes from them where nobody has it open.
  void drop_what_is_left(bool is_open);

 private:
  void prepare();
  struct News {
    bool closed = false;
    bool opened = false;  ///< after that
  };
  void look_who_left();
  void add_to(News& news);
  std::string what_is_left();
  bool is_open_elsewhere() const;

  std::filesystem::path link_;
  std::function<void(const Left& left)> left_;
  android::base::unique_fd master_;
  android::base::unique_fd slave_;  ///< held open: without it nothing can be read while nobody is
                                    ///< there
  std::string name_;
  android::base::unique_fd news_;
  std::optional<Watch> watch_;
};

}  // namespace factory_daemon
