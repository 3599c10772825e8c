// Calls as stories: what is given, what is logged, and what is left.
#pragma once

#include <functional>
#include <map>

#include "tests/phone_fixture.h"

namespace fcx_test {

// A story is one call of a function on a fresh phone, in a line of its own; a line that begins with
// blanks goes on with the one before, after one blank or after its "|". In all texts \n, \s (a
// blank), \0 to \7 and \xFF are what they look like, and $NAME or ${NAME} is what `let NAME = TEXT`
// has said:
//
//   GIVEN -> LINES => LEAVES
//
//   given    usb=CONNECTED; item 2=\5; battery!read; 200!refuse; thread reboot!
//            NAME=VALUE sets a file, an item, a modem value (modem NAME), an NV item (nv 453, also
//            to a state) or a property; -PATH removes a file. NAME!WORDS is a fault on it, on a
//            request (by number), a thread or a service: an access, an effect, its value, and @N
//            for the first access that it strikes.
//   lines    I start restart\n|E @: no reboot\n
//            priority, tag unless it is "Fcx", message; @ is the function's name. Those of other
//            threads come after the caller's. Not those of the modem link, of the USB state and of
//            the version report, and a command's first.
//   leaves   asked=1654 200; events=reboot: power off; seconds=1; led=255; result=1
//            names as above; the requests; the events with "|" between them; the phone's time that
//            was slept; the last request's payload; the text of `out`; the result, unless it is 0
class StoryTest : public PhoneTest {
 protected:
  StoryTest();

  void let(const std::string& name, std::string text) { said_[name] = std::move(text); }
  void tell(const std::string& name, const std::function<int()>& function,
            const std::string& stories);

  void fresh_phone();
  void give(const std::string& what);
  /// The value of a name that a story leaves.
  std::string left(const std::string& name);
  /// A story's text with what stands for something else in its place.
  std::string understood(const std::string& text) const;
  /// The lines since the last call, as a story has them.
  std::string told();
  /// The same with what differs from call to call in another form.
  virtual std::string plain(const std::string& lines) const { return lines; }

  /// Memory for what a function writes for its caller: "before", and zeros.
  char* memory();
  std::string out;  ///< that text, or what a call puts there

 private:
  void tell_one(const std::string& name, const std::function<int()>& function,
                const std::string& story);

  std::map<std::string, std::string> said_;
  std::vector<std::string> own_lines_, other_lines_;
  int64_t slept_us_ = 0;  ///< before the call
};

/// Stories of a call, which is an int or none at all.
#define TELL(name, call, stories) \
  tell(                           \
      name, [&] { return story_result([&] { return call; }); }, stories)

template <typename Call>
int story_result(Call call) {
  if constexpr (std::is_void_v<decltype(call())>) {
    call();
    return 0;
  } else {
    return call();
  }
}

}  // namespace fcx_test
