// What can be done to an access, and what it is called.
#include "exploration/disturbance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace exploration {
namespace {

using testing::ElementsAreArray;
using virtual_phone::Access;
using virtual_phone::Part;
using virtual_phone::PlatformAccess;

/// An access that has moved `bytes`.
PlatformAccess accessed(Part part, const char* target, Access access, bool is_change = false,
                        int64_t result = 0, const char* bytes = "0123456789") {
  PlatformAccess made{part, target, access};
  (access == Access::write ? made.given : made.got) = bytes;
  made.is_change = is_change;
  made.result = result;
  return made;
}

/// The effects that fit, one after another; a '!' stands after what is other content.
std::string effects_on(const PlatformAccess& access) {
  std::string text;
  for (const Disturbance& each : disturbances_of({access})) {
    EXPECT_EQ(0U, each.access);
    text += (text.empty() ? "" : "; ") + effect_name(each) + (spoils(each) ? "!" : "");
  }
  return text;
}

TEST(Disturbances, FitTheAccess) {
  const std::vector<std::pair<PlatformAccess, const char*>> cases = {
      {accessed(Part::item, "9", Access::read), "fail -1; late 3000; short 5!; return 1; garbage!"},
      {accessed(Part::item, "9", Access::write), "fail -1; late 3000; return 1"},
      {accessed(Part::item, "9", Access::write, true),
       "fail -1; late 3000; return 1; power cut, dropped; power cut, torn; power cut, kept"},
      {accessed(Part::property, "a", Access::read), "fail!; late 3000; garbage!"},
      {accessed(Part::property, "a", Access::write), "fail; late 3000"},
      {accessed(Part::file, "/a", Access::open), "fail EIO; fail ENOENT!; late 3000"},
      {accessed(Part::file, "/a", Access::stat), "fail EIO; fail ENOENT!; late 3000"},
      {accessed(Part::file, "/a", Access::read), "fail EIO; late 3000; short 5!"},
      {accessed(Part::file, "/a", Access::write), "fail EIO; fail ENOSPC; late 3000; short 5"},
      {accessed(Part::file, "/a", Access::mkdir), "fail EIO; fail ENOSPC; late 3000"},
      {accessed(Part::file, "/a", Access::sync), "fail EIO; late 3000"},
      {accessed(Part::file, "/a", Access::seek), "fail EIO; late 3000; size 4096!"},
      {accessed(Part::request, "116", Access::any),
       "fail 1; late 3000; refuse!; status 1!; empty!; short 5!; long 65536!; length 2147483647!; "
       "garbage 255!"},
      {accessed(Part::request, "4999", Access::any, false, 2), "fail 1; late 3000; refuse!"},
      {accessed(Part::service, "dmi", Access::call), "absent; dies; late 3000"},
      {accessed(Part::service, "dmi", Access::find), "absent"},
      {accessed(Part::service, "filehandle", Access::find), "absent; late 3000"},
      {accessed(Part::service, "reboot", Access::call), "absent; late 3000"},
      {accessed(Part::thread, "reboot", Access::start), "fail EAGAIN"},
      {accessed(Part::clock, "", Access::sleep), ""},
  };
  for (const auto& [access, expected] : cases) {
    EXPECT_EQ(expected, effects_on(access)) << access_name({access}, 0);
  }
}

TEST(Disturbances, AreNamedAsTheFaultThatDoesTheSame) {
  const std::vector<PlatformAccess> trace = {accessed(Part::file, "/a b", Access::open),
                                             accessed(Part::file, "/c", Access::read),
                                             accessed(Part::item, "9", Access::write, true),
                                             accessed(Part::file, "/c", Access::read),
                                             accessed(Part::request, "14", Access::any),
                                             accessed(Part::item, "9", Access::read),
                                             accessed(Part::request, "14", Access::any, true),
                                             accessed(Part::service, "dmi", Access::find),
                                             accessed(Part::service, "dmi", Access::call),
                                             accessed(Part::service, "dmi", Access::find),
                                             accessed(Part::service, "atservice", Access::find)};
  std::vector<std::string> names;
  for (size_t i = 0; i < trace.size(); ++i) names.push_back(access_name(trace, i));
  EXPECT_THAT(names, ElementsAreArray({"file open /a b", "file read /c", "item write 9",
                                       "file read /c (2)", "request 14", "item read 9",
                                       "request 14 (2)", "service find dmi", "service call dmi",
                                       "service find dmi (2)", "service find atservice"}));
  std::vector<std::string> commands;
  // The first of an access alone: the rest differs in what the effect is called.
  for (const Disturbance& each : failures_of(trace)) commands.push_back(fault_command(trace, each));
  for (const Disturbance& each : disturbances_of(trace)) {
    if (each.cut == virtual_phone::Unflushed::torn) commands.push_back(fault_command(trace, each));
  }
  EXPECT_THAT(commands,
              ElementsAreArray({"fcx fault file '/a b' fail EIO --on open --times 1",
                                "fcx fault file /c fail EIO --on read --times 1",
                                "fcx fault item 9 fail -1 --on write --times 1",
                                "fcx fault file /c fail EIO --on read --after 2 --times 1",
                                "fcx fault request 14 fail 1 --times 1",
                                "fcx fault item 9 fail -1 --on read --times 1",
                                "fcx fault request 14 fail 1 --after 2 --times 1",
                                "fcx fault service dmi absent --times 1",
                                "fcx fault service dmi absent --after 2 --times 1",
                                "fcx fault service dmi absent --after 3 --times 1",
                                "fcx fault service atservice absent --times 1",
                                "fcx fault power cut torn --after 1 --times 1",
                                "fcx fault power cut torn --after 2 --times 1"}));
  EXPECT_EQ("nothing", effect_name({}));
  EXPECT_EQ("", fault_command(trace, {}));
}

}  // namespace
}  // namespace exploration
