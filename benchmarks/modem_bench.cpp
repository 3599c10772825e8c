// What the command link costs beside its log lines, base64 beside OpenSSL's, files of the modem.
#include <log/log.h>
#include <openssl/evp.h>

#include <cstdio>
#include <vector>

#include "benchmarks/bench.h"
#include "benchmarks/empty_modem.h"
#include "fcx/modem_efs.h"
#include "fcx/modem_link.h"
#include "fcx/qvcmd.h"
#include "modem/link/requests.h"
#include "platform/modem_interface.h"

namespace {

constexpr int kFileSize = 100 * 1024;
constexpr int kMostInARequest = 2032;
constexpr int kFewestRequests = (kFileSize + kMostInARequest - 1) / kMostInARequest;

template <typename... Arguments>
void line(const char* format, Arguments... arguments) {
  __android_log_buf_print(LOG_ID_SYSTEM, ANDROID_LOG_INFO, "Fcx", format, arguments...);
}

void round_trip_through_the_library(benchmark::State& state) {
  char payload[15] = {};
  char answer[QVCMD_DATA_SIZE];
  int length = 0;
  init_modem_interface();
  for (auto _ : state) {
    request_to_system(fcx::request::write_imei, payload, sizeof payload, answer, &length, nullptr);
    benchmark::DoNotOptimize(answer);
  }
}

/// The peer: the lines, and nothing else.
void round_trip_bare(benchmark::State& state) {
  for (auto _ : state) {
    line("[COMMON_INTERFACE] QVCMD OPCODE: %d", fcx::request::write_imei);
    line("[COMMON_INTERFACE] Call request_to_modem");
    line("[DMI] request_to_modem:__START!\n");
    line("[DMI] request_to_modem return value is %d\n", 0);
    line("Response Status: %d\n", 0);
  }
}

std::vector<char> sample() {
  std::vector<char> bytes(QVCMD_DATA_SIZE);
  unsigned seed = 1;
  for (char& byte : bytes) byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
  return bytes;
}

constexpr size_t kTextSize = (QVCMD_DATA_SIZE + 2) / 3 * 4 + 1;

void encode_by_the_library(benchmark::State& state) {
  std::vector<char> bytes = sample();
  char text[kTextSize];
  for (auto _ : state) {
    base64_encode(bytes.data(), static_cast<int>(bytes.size()), text);
    benchmark::ClobberMemory();
  }
}

void encode_by_openssl(benchmark::State& state) {
  std::vector<char> bytes = sample();
  unsigned char text[kTextSize];
  for (auto _ : state) {
    EVP_EncodeBlock(text, reinterpret_cast<unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()));
    benchmark::ClobberMemory();
  }
}

void decode_by_the_library(benchmark::State& state) {
  std::vector<char> bytes = sample();
  char text[kTextSize];
  base64_encode(bytes.data(), static_cast<int>(bytes.size()), text);
  unsigned char back[kTextSize];
  for (auto _ : state) {
    base64_decode(text, back, sizeof back);
    benchmark::ClobberMemory();
  }
}

void decode_by_openssl(benchmark::State& state) {
  std::vector<char> bytes = sample();
  char text[kTextSize];
  const int length = base64_encode(bytes.data(), static_cast<int>(bytes.size()), text);
  unsigned char back[kTextSize];
  for (auto _ : state) {
    EVP_DecodeBlock(back, reinterpret_cast<unsigned char*>(text), length);
    benchmark::ClobberMemory();
  }
}

/// Requests that one call of each has sent last.
size_t write_requests = 0;
size_t read_requests = 0;

void write_file(benchmark::State& state) {
  std::vector<char> file(kFileSize, 'f');
  for (auto _ : state) {
    const size_t before = bench::modem_requests();
    benchmark::DoNotOptimize(efs_write(1, file.data(), kFileSize));
    write_requests = bench::modem_requests() - before;
  }
}

void read_file(benchmark::State& state) {
  std::vector<char> file(kFileSize, 'f');
  for (auto _ : state) {
    const size_t before = bench::modem_requests();
    benchmark::DoNotOptimize(efs_read(1, file.data(), kFileSize));
    read_requests = bench::modem_requests() - before;
  }
}

/// The peer: as many requests with their records cleared, and nothing in them.
void file_bare(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < kFewestRequests; ++i) {
      qvcmd_request request{fcx::request::efs, 0, {}};
      qvcmd_response response{};
      request_to_modem_via_dmi(&request, &response);
      benchmark::DoNotOptimize(response);
    }
  }
}

}  // namespace

void bench::register_modem() {
  measure("round trip/library", round_trip_through_the_library);
  measure("round trip/bare", round_trip_bare);
  measure("encode/library", encode_by_the_library);
  measure("encode/peer", encode_by_openssl);
  measure("decode/library", decode_by_the_library);
  measure("decode/peer", decode_by_openssl);
  measure("efs write/library", write_file);
  measure("efs write/bare", file_bare);
  measure("efs read/library", read_file);
  measure("efs read/bare", file_bare);
}

void bench::report_modem(const Medians& medians) {
  print_share(medians, "round trip, beyond its log lines (limit 1000 ns)", "round trip");
  print_ratio(medians, "base64 of 2048 bytes, beside OpenSSL (limit 1)", "encode");
  print_ratio(medians, "and back (limit 1)", "decode");
  print_share(medians, "100 KiB to the modem's files, beyond bare requests", "efs write");
  print_share(medians, "and back", "efs read");
  if (write_requests == 0) return;
  printf("requests for 100 KiB: %zu to write, %zu to read (limit %d)\n", write_requests,
         read_requests, kFewestRequests);
}
