// The last logs of download mode, as a collection takes them from their records.
#include <dlfcn.h>
#include <zlib.h>

#include <fstream>

#include "platform/factory_item_library.h"
#include "tests/services/logs/logs.h"

// In the place of the platform's, to let them fail.
namespace {
int init_code = Z_OK;
int inflate_code = Z_OK;
int block_size = 2048;
}  // namespace

extern "C" __attribute__((visibility("default"))) int inflateInit_(z_streamp stream,
                                                                   const char* version, int size) {
  return init_code != Z_OK ? init_code : inflateInit2_(stream, MAX_WBITS, version, size);
}

extern "C" __attribute__((visibility("default"))) int inflate(z_streamp stream, int flush) {
  static const auto real = reinterpret_cast<int (*)(z_streamp, int)>(dlsym(RTLD_NEXT, "inflate"));
  return inflate_code != Z_OK ? inflate_code : real(stream, flush);
}

__attribute__((visibility("default"))) int get_ftm_block_size() { return block_size; }

namespace fcx_test {
namespace {

constexpr size_t kBlock = 2048;
constexpr size_t kRecord = 248 * kBlock;
constexpr size_t kText = 1984 * kBlock;
constexpr size_t kPlaces[] = {3848 * kBlock, 3600 * kBlock};

std::string number(int32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }

std::string deflated(const std::string& text) {
  std::string bytes(compressBound(text.size()), '\0');
  uLongf size = bytes.size();
  EXPECT_EQ(Z_OK, compress(reinterpret_cast<Bytef*>(bytes.data()), &size,
                           reinterpret_cast<const Bytef*>(text.data()), text.size()));
  return bytes.substr(0, size);
}

std::string chunk(const std::string& bytes) {
  return number(static_cast<int32_t>(bytes.size())) + bytes;
}
std::string text_chunk(const std::string& text) { return chunk(deflated(text)); }

class LastLogs : public CollectionTest {
 protected:
  LastLogs() {
    TELL("parts", 0, R"(
let dst = I $last dst folder : ${root}DATE/|
let failed0 = I $last RKF log copy(0) failed.|
let failed1 = I $last RKF log copy(1) failed.|
let saved0 = I $last RKF log copy success(${root}DATE/rkf_last_dmesg_0.txt)|
let saved1 = I $last RKF log copy success(${root}DATE/rkf_last_dmesg_1.txt)|
let flag = zlib_decompress \n|I util decomp fail flag\n|
)");
  }
  ~LastLogs() override { init_code = inflate_code = Z_OK, block_size = kBlock; }

  /// What is said of last logs.
  std::string plain(const std::string& text) const override {
    const size_t begin = std::min(text.find("I [get_rkf"), text.size());
    return undated(text.substr(begin, text.find("I Save kernel log") - begin));
  }
  void put(size_t place, std::string_view record) {
    std::fstream partition(file("/dev/block/by-name/ftm"),
                           std::ios::in | std::ios::out | std::ios::binary);
    partition.seekp(static_cast<std::streamoff>(place));
    partition << record << std::string(kRecord - std::min(kRecord, record.size()), '\0');
  }
  /// Collects, and leaves the text of one record.
  int save(const std::string& record, int place) {
    put(kPlaces[place], record);
    put(kPlaces[1 - place], "");
    fs::remove_all(file(kRoot));
    const int result = collect(kRoot);
    const auto saved = [&](int record_number) {
      return file(kRoot) / "DATE" / ("rkf_last_dmesg_" + std::to_string(record_number) + ".txt");
    };
    out = read_file(saved(place));
    EXPECT_EQ(!out.empty(), fs::exists(saved(place)));
    EXPECT_FALSE(fs::exists(saved(1 - place)));
    return result;
  }

  /// Lets the file of record 0 fail that is written within the next seconds.
  int save_with_file(Access access, Effect effect, int64_t value) {
    for (int second = 0; second < 5; ++second) {
      const time_t now = time(nullptr) + second;
      char date[30];
      strftime(date, sizeof date, "%Y%m%d_%H%M%S", localtime(&now));
      fault(Part::file, std::string(kRoot) + date + "/rkf_last_dmesg_0.txt", effect, value, access);
    }
    return save(number(1) + text_chunk("one"), 0);
  }
};

TEST_F(LastLogs, AreTheChunksOfTheirRecords) {
  const std::string one = text_chunk("one\n"), two = text_chunk("two\n"), begin = number(1);
  const std::string failed = understood("I Inflate error : -3 $flag");
  std::string dictionary = deflated("text"), corrupt = dictionary, wrong_sum = dictionary;
  dictionary[1] = '\xBB';  // says that it needs one
  corrupt[2] = '\xFF';
  wrong_sum.back() = '\0';
  const std::string last = deflated(noise(1000)), cut = deflated(noise(2000)).substr(0, 1000);
  // A record whose last chunk ends with it, or so much later.
  const auto filled = [&](size_t more) {
    std::string filler = deflated("f");
    filler.resize(kRecord - 4 - 4 - 4 - last.size(), 'x');
    return begin + chunk(filler) + number(static_cast<int32_t>(last.size() + more)) + last;
  };
  const std::string most(kText, 't');
  const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
      {"no log", number(0) + one, "", ""},
      {"a negative first word", number(-1) + one, "", ""},
      {"a first word of 7", number(7) + one, "", "one\n"},
      {"no chunk", begin, "", ""},
      {"two chunks and an end", begin + one + two + number(0) + one, "", "one\ntwo\n"},
      {"a negative length", begin + one + number(-1) + two, "", "one\n"},
      {"the highest length", begin + one + number(INT32_MAX) + two, "", "one\n"},
      {"a length up to the end", filled(0), "", "f" + noise(1000)},
      {"a length that is one more", filled(1), "", "f"},
      {"a corrupt chunk", begin + one + chunk(corrupt) + two, failed, "one\ntwo\n"},
      {"a wrong check sum", begin + chunk(wrong_sum) + two, failed, "two\n"},
      {"a dictionary", begin + chunk(dictionary) + two, failed, "two\n"},
      {"a chunk of one byte", begin + chunk("x") + two, "", "two\n"},
      {"a chunk that is cut", begin + chunk(cut) + two, "", noise(2000).substr(0, 993) + "two\n"},
      {"bytes after its end", begin + chunk(deflated("one") + "more") + two, "", "onetwo\n"},
      {"as much text as there is room for", begin + text_chunk(most), "", most},
      {"more", begin + one + text_chunk(most) + two, "", "one\n" + most.substr(4)},
  };
  for (const auto& [what, record, lines, text] : cases) {
    for (int place = 0; place < 2; ++place) {
      SCOPED_TRACE(what + " "s + std::to_string(place));
      told();
      EXPECT_EQ(0, save(record, place));
      EXPECT_TRUE(text == out) << out.size();
      const std::string outcome = (text.empty() ? "$failed" : "$saved") + std::to_string(place);
      EXPECT_EQ(
          understood("$dst") + (place == 0 ? lines + understood(outcome + "$failed1")
                                           : understood("$failed0") + lines + understood(outcome)),
          told());
    }
  }
}

TEST_F(LastLogs, FailuresStopNothingElse) {
  const std::string record = number(1) + text_chunk("one");
  TELL("get_rkf_last_log_if_exist", save(record, 0), R"(
let partition = /dev/block/by-name/ftm
let io = $partition\n(Input/output error)\n|
-> $dst$saved0$failed1 => out=one
$partition!open -> ${dst}E Can't open $io${failed0}E Can't open $io$failed1 => out=
$partition!open @2 -> $dst${saved0}E Can't open $io$failed1 => out=one
$partition!seek @2 -> $dst${saved0}E @: $partition: Input/output error\n|$failed1 => out=one
$partition!read -> ${dst}I Failed reading $io${failed0}I Failed reading $io$failed1 => out=
$partition!read short 507903 -> ${dst}I Failed reading $partition\n(No data available)\n|${failed0}I
  Failed reading $partition\n(No data available)\n|$failed1 => out=
$partition!close -> ${dst}I Failed closing $io${saved0}I Failed closing $io$failed1 => out=one
)");
  const char* failed = "-> $dst$failed0$failed1 => out=";
  TELL("full", save_with_file(Access::open, Effect::fail, ENOSPC), failed);
  TELL("full", save_with_file(Access::write, Effect::shorter, 2), failed);
  TELL("full", save_with_file(Access::close, Effect::fail, ENOSPC), failed);
  init_code = Z_MEM_ERROR;
  TELL("inflateInit_", save(record, 0), R"(
-> ${dst}I Inflate init error : -4\n|I util decomp fail flag\n|$failed0$failed1 => out=
)");
  init_code = Z_OK;
  for (const auto& [code, shown] : {std::pair(Z_MEM_ERROR, "-4"), {Z_NEED_DICT, "-3"}}) {
    inflate_code = code;
    TELL("inflate", save(record, 0),
         "-> ${dst}I Inflate error : "s + shown + " $flag$failed0$failed1 => out=");
  }
  inflate_code = Z_OK;
  const std::pair<int, const char*> sizes[] = {
      {0, "get_rkf_last_log_if_exist: no partition with blocks of 0 bytes\\n|"},
      {-1, "get_rkf_last_log_if_exist: no partition with blocks of -1 bytes\\n|"},
      {INT32_MAX, "$last in_buf malloc failed|"},
      {(64 << 20) / 1984 + 1, "$last out_buf malloc failed|"}};
  for (const auto& [size, line] : sizes) {
    block_size = size;
    TELL("block size", save("", 0), "-> ${dst}E "s + line + " => out=");
  }
}

}  // namespace
}  // namespace fcx_test
