// The last logs of download mode, as a collection takes them from their records.
#include <dlfcn.h>
#include <zlib.h>

#include <fstream>

#include "platform/factory_item_library.h"
#include "tests/services/logs/collection.h"

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

/// A text that deflates to about its own size.
std::string noise(size_t size) {
  std::string text(size, '\0');
  uint32_t state = 1;
  for (char& each : text) each = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return text;
}

class LastLogs : public CollectionTest {
 protected:
  ~LastLogs() override { init_code = inflate_code = Z_OK, block_size = kBlock; }

  void put(size_t place, std::string_view record) {
    std::fstream partition(file("/dev/block/by-name/ftm"),
                           std::ios::in | std::ios::out | std::ios::binary);
    partition.seekp(static_cast<std::streamoff>(place));
    partition << record;
  }
  /// Collects, and leaves what was said of last logs.
  void save() {
    told();
    put_programs();
    EXPECT_EQ(0, logsave(kRoot));
    const std::string lines = told();
    const size_t begin = lines.find("I [get_rkf"), end = lines.find("I Save kernel log");
    said_ = lines.substr(begin, end - begin);
  }
  std::string text(int record) {
    for (const auto& entry : fs::directory_iterator(file(kRoot))) {
      const fs::path log = entry.path() / ("rkf_last_dmesg_" + std::to_string(record) + ".txt");
      if (fs::exists(log)) return read_file(log);
    }
    return "(none)";
  }

  /// Lets the file of a record that is written within the next seconds fail.
  void file_fails(Access access, Effect effect, int64_t value) {
    for (int second = 0; second < 5; ++second) {
      const time_t now = time(nullptr) + second;
      tm local{};
      localtime_r(&now, &local);
      char date[30];
      strftime(date, sizeof date, "%Y%m%d_%H%M%S", &local);
      fault(Part::file, std::string(kRoot) + date + "/rkf_last_dmesg_0.txt", effect, value, access);
    }
  }

  std::string said_;
};

TEST_F(LastLogs, AreTheChunksOfTheirRecords) {
  const std::string one = text_chunk("one\n"), two = text_chunk("two\n"), end = number(0);
  const std::string full = number(1) + chunk(deflated(noise(1000)));
  const std::string failed = "I Inflate error : -3 zlib_decompress \n|I util decomp fail flag\n|";
  std::string dictionary = deflated("text");
  dictionary[1] = static_cast<char>(dictionary[1] | 0x20);  // says that it needs one
  dictionary[1] = static_cast<char>(dictionary[1] / 32 * 32);
  dictionary[1] =
      static_cast<char>(dictionary[1] + 31 - (dictionary[0] * 256 + dictionary[1]) % 31);
  std::string corrupt = deflated("corrupt\n");
  corrupt[2] = '\xFF';
  std::string wrong_sum = deflated("wrong sum\n");
  wrong_sum.back() = static_cast<char>(wrong_sum.back() + 1);
  const std::string whole = deflated(noise(2000));
  // As long as the record is, and a byte more.
  const std::string last = deflated(noise(1000));
  const auto filled = [&](int32_t more) {
    const size_t room = kRecord - 4 - 4 - last.size() - 4;
    std::string filler = deflated("f");
    filler.resize(room, 'x');
    return number(1) + chunk(filler) + number(static_cast<int32_t>(last.size()) + more) + last;
  };
  const std::tuple<const char*, std::string, std::string, std::string> cases[] = {
      {"no log", number(0) + one, "", "(none)"},
      {"a negative first word", number(-1) + one, "", "(none)"},
      {"a first word of 7", number(7) + one, "", "one\n"},
      {"no chunk", number(1) + end, "", "(none)"},
      {"two chunks", number(1) + one + two + end + one, "", "one\ntwo\n"},
      {"a negative length", number(1) + one + number(-1) + two, "", "one\n"},
      {"the lowest length", number(1) + one + number(INT32_MIN) + two, "", "one\n"},
      {"the highest length", number(1) + one + number(INT32_MAX) + two, "", "one\n"},
      {"a length past the end", number(1) + one + number(kRecord) + two, "", "one\n"},
      {"a length up to the end", filled(0), "", "f" + noise(1000)},
      {"a length that is one more", filled(1), "", "f"},
      {"a chunk that is none", number(1) + chunk("none") + two, failed, "two\n"},
      {"a corrupt chunk", number(1) + one + chunk(corrupt) + two, failed, "one\ntwo\n"},
      {"a wrong check sum", number(1) + chunk(wrong_sum) + two, failed, "two\n"},
      {"a dictionary", number(1) + chunk(dictionary) + two, failed, "two\n"},
      {"a chunk of one byte", number(1) + chunk("x") + two, "", "two\n"},
      {"a chunk that ends early", number(1) + chunk(whole.substr(0, 1000)) + two, "",
       noise(2000).substr(0, 993) + "two\n"},
      {"bytes after the chunk's end", number(1) + chunk(deflated("one") + "and more") + two, "",
       "onetwo\n"},
      {"as much text as there is room for", number(1) + text_chunk(std::string(kText, 't')), "",
       std::string(kText, 't')},
      {"more text", number(1) + one + text_chunk(std::string(kText, 't')) + two, "",
       "one\n" + std::string(kText - 4, 't')},
  };
  for (const auto& [what, record, lines, expected] : cases) {
    for (int place = 0; place < 2; ++place) {
      SCOPED_TRACE(what + " "s + std::to_string(place));
      fs::remove_all(file(kRoot));
      put(kPlaces[place], record + std::string(kRecord - std::min(kRecord, record.size()), '\0'));
      put(kPlaces[1 - place], std::string(kRecord, '\0'));
      save();
      const std::string found = text(place);
      EXPECT_EQ(expected.size(), found.size());
      EXPECT_TRUE(expected == found);
      EXPECT_EQ("(none)", text(1 - place));
      std::string said = understood("I $last dst folder : ${root}DATE/|");
      for (int each = 0; each < 2; ++each) {
        if (each == place) said += lines;
        const std::string n = std::to_string(each);
        said += each == place && expected != "(none)"
                    ? understood("I $last RKF log copy success(${root}DATE/rkf_last_dmesg_") + n +
                          ".txt)|"
                    : understood("I $last RKF log copy(") + n + ") failed.|";
      }
      EXPECT_EQ(said, said_);
    }
  }
}

TEST_F(LastLogs, FailuresOfThePartitionAndOfZlibStopNothingElse) {
  const std::string record = number(1) + text_chunk("one\n") + text_chunk("two\n");
  const std::string partition = "/dev/block/by-name/ftm";
  const std::string folder = understood("I $last dst folder : ${root}DATE/|");
  const std::string failed = understood("I $last RKF log copy(0) failed.|");
  const std::string second = understood("I $last RKF log copy(1) failed.|");
  const std::string success =
      understood("I $last RKF log copy success(${root}DATE/rkf_last_dmesg_0.txt)|");
  const std::string io = partition + "\n(Input/output error)\n|";
  const std::string flag = "I util decomp fail flag\n|";
  using Set = std::function<void()>;
  const auto strike = [&](Access access, Effect effect = Effect::fail, int64_t value = EIO) {
    return [=] { fault(Part::file, partition, effect, value, access, 1); };
  };
  const std::string init = "I Inflate init error : -4\n|" + flag;
  const std::string memory = "I Inflate error : -4 zlib_decompress \n|" + flag;
  const std::string data = "I Inflate error : -3 zlib_decompress \n|" + flag;
  const std::tuple<const char*, Set, std::string, std::string> cases[] = {
      {"open", strike(Access::open), folder + "E Can't open " + io + failed + second, "(none)"},
      {"seek", strike(Access::seek),
       folder + "E get_rkf_last_log_if_exist: " + partition + ": Input/output error\n|" + failed +
           second,
       "(none)"},
      {"read", strike(Access::read), folder + "I Failed reading " + io + failed + second, "(none)"},
      {"short", strike(Access::read, Effect::shorter, kRecord - 1),
       folder + "I Failed reading " + partition + "\n(No data available)\n|" + failed + second,
       "(none)"},
      {"close", strike(Access::close), folder + "I Failed closing " + io + success + second,
       "one\ntwo\n"},
      {"the file's open", [&] { file_fails(Access::open, Effect::fail, ENOSPC); },
       folder + failed + second, "(none)"},
      {"its write", [&] { file_fails(Access::write, Effect::shorter, 2); },
       folder + failed + second, "(none)"},
      {"its close", [&] { file_fails(Access::close, Effect::fail, ENOSPC); },
       folder + failed + second, "(none)"},
      {"init", [] { init_code = Z_MEM_ERROR; }, folder + init + init + failed + second, "(none)"},
      {"memory", [] { inflate_code = Z_MEM_ERROR; }, folder + memory + memory + failed + second,
       "(none)"},
      {"dictionary", [] { inflate_code = Z_NEED_DICT; }, folder + data + data + failed + second,
       "(none)"},
      {"no block size", [] { block_size = 0; },
       folder + "E get_rkf_last_log_if_exist: no partition with blocks of 0 bytes\n|", "(none)"},
      {"the largest", [] { block_size = INT32_MAX; },
       folder + understood("E $last in_buf malloc failed|"), "(none)"},
      {"too large for the text", [] { block_size = (64 << 20) / 1984 + 1; },
       folder + understood("E $last out_buf malloc failed|"), "(none)"},
  };
  for (const auto& [what, set, lines, expected] : cases) {
    SCOPED_TRACE(what);
    fs::remove_all(file(kRoot));
    put(kPlaces[0], record);
    set();
    save();
    clear_faults();
    init_code = inflate_code = Z_OK, block_size = kBlock;
    EXPECT_EQ(lines, said_);
    EXPECT_EQ(expected, text(0));
  }
}

}  // namespace
}  // namespace fcx_test
