// The versions that one source tells, and the pieces of property files.
#include <array>

#include "fcx/customisation.h"
#include "fcx/single_binary.h"
#include "fcx/version_info.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using testing::ElementsAre;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

class Versions : public PhoneTest {
 protected:
  void put(const char* path, std::string_view content) {
    std::filesystem::create_directories(file(path).parent_path());
    write_file(file(path), content);
  }

  /// A getter's text, or "(failed)" when it left the caller's memory alone.
  std::string text_of(int (*getter)(char*, int*)) {
    std::string out(92, '#');
    int length = kUntouched;
    if (getter(out.data(), &length) == 0) return out.substr(0, static_cast<size_t>(length));
    EXPECT_EQ(std::string(92, '#'), out);
    EXPECT_EQ(kUntouched, length);
    return "(failed)";
  }
};

TEST_F(Versions, TheHardwareRevisionIsInTheCommandLine) {
  const std::string key = "console=x androidboot.vendor.qve.hw.revision=";
  const std::string board = "board_rev=" + std::string(27, '.');  // the value is 37 behind the key
  const std::string none = "I Fcx: No data : hw_rev_data\n";
  const std::string no_key =
      "I Fcx: No data : androidboot.vendor.qve.hw.revision or board_rev is nothing!";
  const std::string board_line = "I Fcx: data : board_rev....\n";
  const auto line = [](const std::string& value) { return "I Fcx: hw_rev : " + value + "\n"; };
  using Lines = std::vector<std::string>;
  const std::tuple<std::string, std::string, Lines> cases[] = {
      {key + "rev_10 x", "1.0", {line("rev_10")}},
      {key + "rev_1 x", std::string("1.\0", 3), {line("rev_1")}},
      {key + "rev_123 x", "1.2", {line("rev_123")}},
      {key + "evb21 x", std::string("1.\0", 3), {line("evb21")}},
      {key + "evb2 x", "2", {line("evb2")}},
      {key + "evb23 x", "2", {line("evb23")}},
      {key + "rev_a \n", "0.a", {line("rev_a")}},
      {key + "rev_a1 x", "0.a1", {line("rev_a1")}},
      {key + "rev_a12 x", "0.a12", {line("rev_a12")}},
      {key + "rev_a123 x", "0.a12", {line("rev_a123")}},
      {key + "rev_ x", "(failed)", {none}},
      {key + "evb x", "(failed)", {none}},
      {key + " x", "(failed)", {none}},
      {key + "rev_10", "(failed)", {none}},
      {key + "rev_10\n", "(failed)", {none}},
      {key + "reserved", "(failed)", {}},
      {key + "reserved_10 x", "(failed)", {}},
      {board + "rev_b x", "0.b", {board_line, line("rev_b")}},
      {board + "x", "(failed)", {board_line, none}},
      {"x board_rev=", "(failed)", {board_line, none}},
      {board + "rev_b " + key + "rev_a x", "0.a", {line("rev_a")}},
      {"", "(failed)", {no_key}},
      {"hw.revision=rev_10 ", "(failed)", {no_key}},
      {std::string(4095 - key.size() - 7, 'x') + key + "rev_10 ", "1.0", {line("rev_10")}},
      {std::string(4096 - key.size() - 7, 'x') + key + "rev_10 ", "(failed)", {none}},
      {std::string("\0", 1) + key + "rev_10 ", "(failed)", {no_key}}};
  for (const auto& [content, expected, written] : cases) {
    put("/proc/cmdline", content);
    EXPECT_EQ(expected, text_of(get_qve_hw_version)) << content;
    EXPECT_EQ(written, lines()) << content;
  }
  for (const Access access : {Access::open, Access::read}) {
    fault(Part::file, "/proc/cmdline", Effect::fail, EACCES, access);
    EXPECT_EQ("(failed)", text_of(get_qve_hw_version));
    EXPECT_THAT(lines(), ElementsAre("I Fcx: set_hw_revision : Can not read command line.\n"));
    clear_faults();
  }
}

TEST_F(Versions, ThePlatformsAndTheBinarysAreProperties) {
  const char release[] = "ro.build.version.release";
  set_build_property(release, std::string(91, '1'));
  EXPECT_EQ(std::string(91, '1'), text_of(get_qve_android_sw_version));
  EXPECT_THAT(lines(),
              ElementsAre("I Fcx: [Version Info] Version :" + std::string(91, '1') + "\n"));
  set_build_property(release, "");
  EXPECT_EQ("(failed)", text_of(get_qve_android_sw_version));
  EXPECT_THAT(lines(), ElementsAre("I Fcx: [Version Info] Version :\n",
                                   "I Fcx: Cannot get response. Return error!\n"));
  for (const auto& [revision, expected] :
       {std::pair("", "0"), {"7", "7"}, {"12", "12"}, {"123", "0"}}) {
    set_build_property("ro.vendor.qve.swversion_rev", revision);
    EXPECT_EQ(expected, text_of(get_qve_bynary_revision)) << revision;
    const std::string line = std::string("I Fcx: Binary Revision :") + revision + "\n";
    EXPECT_EQ(expected == std::string(revision) ? std::vector{line} : std::vector<std::string>(),
              lines());
  }
}

TEST_F(Versions, TheFixedAreaVersionIsMadeOfBuildIdentifiers) {
  constexpr char kAp[] = "/vendor/etc/ap.ubid";
  constexpr char kCust[] = "/cust/cust.ubid";
  constexpr char kOp[] = "/oem/OP/_COMMON/op.ubid";
  constexpr char kUser[] = "/data/.OP/userdata.ubid";
  const std::string good = "A1234567890-M1234567890-C1234567890-O1234567890-0";
  const std::string no_cust = "A1234567890-M1234567890-FFFFFFFFFFF-O1234567890-0";
  const std::string no_op = "A1234567890-M1234567890-C1234567890-FFFFFFFFFFF-F";
  const std::string untouched(49, '#');
  const std::string user = "I Fcx: get_swfv : Read userdata.ubid\n";
  const std::string op = "I Fcx: get_swfv : Read op.ubid from OP /oem/OP/_COMMON/op.ubid\n";
  const std::string swfv = "I Fcx: get_swfv : ";
  const auto fixed_area = [](int& code, int& length) {
    std::string out(49, '#');
    length = kUntouched;
    code = get_qve_factory_sw_fixed_area_version(out.data(), &length);
    return out;
  };
  int code = 0, length = 0;
  put(kAp, "A1234567890123\nB\n");
  put(kCust, "C1234567890\n");
  put(kUser, "O1234567890-0X\n");
  EXPECT_EQ(good, fixed_area(code, length));
  EXPECT_EQ(0, code);
  EXPECT_EQ(49, length);
  EXPECT_THAT(lines(), ElementsAre(user));

  const struct {
    const char* path;
    Access access;
    int error;
    std::string out;
    int length;
    std::vector<std::string> written;
  } failures[] = {
      {kAp, Access::open, ENOENT, untouched, 0, {swfv + "Cannot find ap ubid\n"}},
      {kAp, Access::open, ENOTDIR, untouched, 0, {swfv + "Cannot find ap ubid\n"}},
      {kAp, Access::open, EACCES, untouched, 0, {swfv + "Cannot read ap ubid\n"}},
      {kAp, Access::read, EIO, untouched, 0, {swfv + "Cannot read ap ubid\n"}},
      {kCust,
       Access::open,
       ENOENT,
       no_cust,
       49,
       {swfv + "OP use only, cust.ubid set to default\n", user}},
      {kCust,
       Access::read,
       EIO,
       good.substr(0, 24) + std::string(25, '\0'),
       0,
       {swfv + "Cannot read cust ubid\n"}},
      {kUser,
       Access::open,
       ENOENT,
       no_op,
       49,
       {user, swfv + "Cannot find userdata ubid, set to default\n"}},
      {kUser,
       Access::open,
       EACCES,
       no_op,
       49,
       {user, swfv + "Cannot read userdata ubid, set to default\n"}},
  };
  for (const auto& row : failures) {
    fault(Part::file, row.path, Effect::fail, row.error, row.access);
    EXPECT_EQ(row.out, fixed_area(code, length)) << row.path;
    EXPECT_EQ(1, code);
    EXPECT_EQ(row.length, length);
    EXPECT_EQ(row.written, lines());
    clear_faults();
  }
  put(kUser, "");
  EXPECT_EQ(no_op, fixed_area(code, length));
  EXPECT_EQ(swfv + "Cannot read userdata ubid, set to default\n", lines().back())
      << "an empty file";
  put(kUser, "O1234567890-0");

  put(kCust, "C1\n");
  EXPECT_EQ("A1234567890-M1234567890-C1" + std::string(9, '\0') + "-O1234567890-0",
            fixed_area(code, length));
  EXPECT_EQ(0, code);
  EXPECT_EQ(26, length) << "up to the first zero byte";
  put(kOp, "P1234567890-1\n");
  put(kCust, "C1234567890\n");
  lines();
  EXPECT_EQ(good.substr(0, 36) + "P1234567890-1", fixed_area(code, length));
  EXPECT_THAT(lines(), ElementsAre(op));

  set_build_property("ro.vendor.qve.product.overlayfs", "true");
  fcx::reload_carrier_set_up();
  const std::string product = swfv + "Read op.ubid  from product /product/etc/op.ubid\n";
  const std::string died = "I Fcx: [QVE][SBP] the file-handle service did not answer\n";
  const std::tuple<const char*, std::vector<std::string>, std::string> overlaid[] = {
      {"Q1234567890-2\nX", {}, good.substr(0, 36) + "Q1234567890-2"},
      {"", {swfv + "Cannot find userdata ubid, set to default\n"}, no_op},
      {nullptr, {died, swfv + "Cannot read userdata ubid, set to default\n"}, no_op}};
  for (const auto& [content, failure, expected] : overlaid) {
    put("/product/etc/op.ubid", content == nullptr ? "" : content);
    if (content == nullptr) service_fault("filehandle", Effect::dies);
    EXPECT_EQ(expected, fixed_area(code, length));
    std::vector<std::string> written = lines();
    EXPECT_EQ(product, written.front());
    written.erase(written.begin());
    EXPECT_EQ(failure, written);
  }
}

/// Slots as a caller has them: 70 bytes each.
struct Slots {
  std::array<std::array<char, 70>, 6> text{};  ///< MCC, MNC, short name, hidden, date, postfix
  int load(const char* path, const char* mccmnc, const char* subset) {
    std::string file = path, code = mccmnc, sub = subset;
    return load_swv_components_from_file(file.data(), code.data(), sub.data(), text[0].data(),
                                         text[1].data(), text[2].data(), text[3].data(),
                                         text[4].data(), text[5].data());
  }
  std::vector<std::string> all() const {
    std::vector<std::string> found;
    for (const auto& slot : text) found.emplace_back(slot.data());
    return found;
  }
};

TEST_F(Versions, ComponentsFillWhatIsEmpty) {
  constexpr char kFile[] = "/cust.prop";
  put(kFile,
      "ro.vendor.qve.swversion_short=V\nro.vendor.qve.opensw=310-17-0\n"
      "ro.vendor.qve.swversion.postfix=P\nro.vendor.qve.swv_date=D\n"
      "ro.vendor.qve.swversion_rev=" +
          std::string(75, 'h') + "\n");
  Slots slots;
  EXPECT_EQ(0, slots.load(kFile, "26201", "11"));
  EXPECT_THAT(slots.all(), ElementsAre("310", "17-0", "V", std::string(69, 'h'), "D", "P"));
  for (auto& slot : slots.text) slot = {'x', '\0'};
  EXPECT_EQ(0, slots.load(kFile, "26201", "11"));
  EXPECT_THAT(slots.all(), ElementsAre("310", "17-0", "x", "x", "x", "x"));
  put("/oem/OP/cust_group_mapping.cfg", "ro.vendor.qve.tamragroup=GRP-X\n");
  const std::tuple<const char*, const char*, const char*> groups[] = {
      {"999999", "99", "GRP"}, {"999999", "98", ""}, {"99999", "99", ""}};
  for (const auto& [mccmnc, subset, mcc] : groups) {
    Slots of_group;
    EXPECT_EQ(0, of_group.load("/none.prop", mccmnc, subset));
    EXPECT_STREQ(mcc, of_group.text[0].data()) << mccmnc << subset;
  }
  {
    const fcx::PackageCache cache;  // those that are made inside are this one
    virtual_phone::set_fault(phone(),
                             {0, Part::file, kFile, Access::open, Effect::fail, EIO, {}, 2});
    for (int i = 0; i < 3; ++i) EXPECT_EQ(0, slots.load(kFile, "26201", "11"));
  }
  clear_faults();
  fault(Part::file, kFile, Effect::fail, EIO, Access::read);
  lines();
  EXPECT_EQ(1, slots.load(kFile, "26201", "11"));
  EXPECT_THAT(lines(),
              ElementsAre("I Fcx: load_swv_components_from_file: /cust.prop cannot be read\n"));
}

TEST_F(Versions, TheIntegrationFileDependsOnTheArrangement) {
  const auto integration = [](const char* file, const char* root) {
    std::string out(2048, '#');
    const int code = qve_integration_properties(out.data(), file, root);
    return std::to_string(code) + " " + (out[0] == '#' ? "(untouched)" : out.c_str());
  };
  const std::pair<const char*, const char*> cases[] = {
      {"cust_A_B_C.prop", "0 (untouched)"},
      {"/r/cust_A_B_C.prop", "1 /r/cust_A_B.prop"},
      {"/r/cust_A_B_C_D_E.prop", "1 /r/cust_A_B.prop"},
      {"/r/cust_A_B.prop", "0 /r/cust_A_B.prop"},
      {"/r_x_y_z/cust_A.prop", "0 /r_x_y_z/cust_A.prop"},
      {"/r/cust_A_B_C", "1 /r/cust_A_B"},
      {"/r.d/cust_A_B_C.prop", "1 /r.d/cust_A_B.d/cust_A_B_C.prop"},
      {"/ui/cust_A_B_C.prop", "0 /ui/cust_A_B_C.prop"},
      {"/noui/cust_A_B_C.prop", "1 /noui/cust_A_B.prop"}};
  put("/ui/cust_A_B.prop", "ro.vendor.qve.sbp.ui=10\n");
  put("/noui/cust_A_B.prop", "ro.vendor.qve.sbp.ui=0\n");
  for (const auto& [given, expected] : cases) EXPECT_EQ(expected, integration(given, "/r"));

  char root[] = "/r", open_root[] = "/oem/OP/OPEN_COM";
  EXPECT_EQ(0, qve_parse_integration(open_root));
  put("/oem/OP/open_path_mapping.cfg", "");
  EXPECT_EQ(1, qve_parse_integration(open_root));
  EXPECT_EQ(0, qve_parse_integration(root));
  EXPECT_EQ("1 /r/cust_A_B.prop", integration("/r/cust_A_B_C.prop", open_root));
  put("/r/config/unified_path_mapping.cfg", "");
  EXPECT_EQ(2, qve_parse_integration(root));
  EXPECT_EQ("1 /r/cust.prop", integration("/r/cust_A_B_C.prop", root));
  EXPECT_EQ("1 /x/cust.prop", integration("/x/cust_A.prop", root));
}

TEST_F(Versions, NullPointersFail) {
  char out[92] = {};
  int length = 0;
  for (int (*getter)(char*, int*) : {get_qve_factory_sw_fixed_area_version, get_qve_hw_version,
                                     get_qve_android_sw_version, get_qve_bynary_revision}) {
    EXPECT_EQ(1, getter(nullptr, &length));
    EXPECT_EQ(1, getter(out, nullptr));
  }
  EXPECT_EQ(1, get_qve_factory_sw_version_sbp(1, nullptr, &length));
  EXPECT_EQ(1, get_qve_factory_sw_version_sbp(1, out, nullptr));
  EXPECT_EQ(1, load_swv_components_from_file(out, out, out, out, out, out, out, out, nullptr));
  EXPECT_EQ(0, qve_parse_integration(nullptr));
  EXPECT_EQ(0, qve_integration_properties(nullptr, "/a", "/a"));
}

}  // namespace
}  // namespace fcx_test
