#include "tools/log_filter.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <string_view>

#include "tools/words.h"
#include "virtual_phone/core/clock.h"

namespace cli {
namespace {

constexpr int64_t kSecond = 1'000'000;
constexpr int64_t kDay = 24 * 3600 * kSecond;
constexpr std::string_view kPriorities = "VDIWEF";
constexpr const char* kPriorityNames[] = {"verbose", "debug", "info", "warning", "error", "fatal"};

/// What stands for a time in a text; what is not given is below zero.
struct Written {
  int month = -1;
  int day = -1;
  int hour = -1;
  int minute = -1;
  int second = -1;
  int millisecond = -1;
};

bool is_possible(const Written& time) {
  constexpr int kDays[] = {31, 31, 29, 31, 30, 31, 30,
                           31, 31, 30, 31, 30, 31};  // without a month, and of each
  return time.month <= 12 && time.month != 0 && time.day != 0 &&
         time.day <= kDays[std::max(time.month, 0)] && time.hour <= 23 && time.minute <= 59 &&
         time.second <= 60;
}

/// A text in the form "06-01 12:00:05.123", of which the day, the milliseconds and the seconds may
/// be missing.
std::optional<Written> written_time(const std::string& text) {
  // Letters stand for digits, one for each that there must be.
  for (const char* form : {"MM-DD hh:mm:ss.fff", "MM-DD hh:mm:ss", "MM-DD hh:mm", "hh:mm:ss.fff",
                           "hh:mm:ss", "hh:mm"}) {
    Written found;
    std::string_view left = form;
    const std::pair<char, int*> fields[] = {{'M', &found.month},  {'D', &found.day},
                                            {'h', &found.hour},   {'m', &found.minute},
                                            {'s', &found.second}, {'f', &found.millisecond}};
    bool fits = left.size() == text.size();
    for (size_t i = 0; fits && i < left.size(); ++i) {
      if (isalpha(left[i]) == 0) {
        fits = text[i] == left[i];
        continue;
      }
      fits = isdigit(text[i]) != 0;
      for (const auto& [letter, number] : fields) {
        if (letter == left[i]) *number = (*number < 0 ? 0 : *number * 10) + (text[i] - '0');
      }
    }
    if (fits && is_possible(found)) return found;
  }
  return std::nullopt;
}

/// The log knows no years: the last one in which it is not later than tomorrow. Without a day it is
/// of today.
int64_t time_of(const Written& written) {
  const int64_t now = virtual_phone::now_us();
  const auto second = static_cast<time_t>(now / kSecond);
  tm today{};
  localtime_r(&second, &today);
  for (const int years_ago : {0, 1}) {
    tm local{};
    local.tm_year = today.tm_year - years_ago;
    local.tm_mon = written.month < 0 ? today.tm_mon : written.month - 1;
    local.tm_mday = written.day < 0 ? today.tm_mday : written.day;
    local.tm_hour = written.hour;
    local.tm_min = written.minute;
    local.tm_sec = written.second < 0 ? 0 : written.second;
    local.tm_isdst = -1;
    const int64_t time = static_cast<int64_t>(mktime(&local)) * kSecond +
                         (written.millisecond < 0 ? 0 : written.millisecond * int64_t{1000});
    if (written.month < 0 || time < now + kDay || years_ago == 1) return time;
  }
  return now;
}

/// How long "10m" is; nothing for what has another form.
std::optional<int64_t> duration(const std::string& word) {
  constexpr size_t kMostDigits = 6;
  const size_t digits = word.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string::npos || digits > kMostDigits) return std::nullopt;
  const int64_t number = number_of(word.substr(0, digits), "a time");
  const std::string unit = word.substr(digits);
  if (unit == "s") return number * kSecond;
  if (unit == "m") return number * 60 * kSecond;
  if (unit == "h") return number * 3600 * kSecond;
  if (unit == "d") return number * kDay;
  return std::nullopt;
}

}  // namespace

std::optional<LogLine> log_line(const std::string& line) {
  std::istringstream in(line);
  LogLine found;
  std::string date;
  std::string time;
  in >> date >> time >> found.pid >> found.tid >> found.priority;
  std::string rest;
  if (!in || in.get() != ' ' || !std::getline(in, rest)) return std::nullopt;
  found.time = date + " " + time;
  const size_t colon = rest.find(": ");
  if (colon == std::string::npos) return std::nullopt;
  found.tag = rest.substr(0, colon);
  found.tag.erase(found.tag.find_last_not_of(' ') + 1);
  found.message = rest.substr(colon + 2);
  return found;
}

bool LogFilter::passes(const std::string& line) const {
  if (is_empty()) return true;
  const auto found = log_line(line);
  if (!found.has_value()) return false;
  if (tag && found->tag != *tag) return false;
  if (text && !contains(found->message, *text)) return false;
  if (priority) {
    const size_t is = kPriorities.find(found->priority);
    if (is == std::string_view::npos || is < kPriorities.find(*priority)) return false;
  }
  if (!since_us && !until_us) return true;
  const auto written = written_time(found->time);
  if (!written.has_value()) return false;
  const int64_t time = time_of(*written);
  return time >= since_us.value_or(time) && time <= until_us.value_or(time);
}

char log_priority(const std::string& word) {
  std::string known;
  for (size_t i = 0; i < kPriorities.size(); ++i) {
    const std::string name = kPriorityNames[i];
    const bool is_letter = word.size() == 1 && contains(name.substr(0, 1), word);
    if (is_letter || (word.size() == name.size() && contains(name, word))) return kPriorities[i];
    known += (known.empty() ? "" : ", ") + std::string(1, kPriorities[i]) + " (" + name + ")";
  }
  throw UsageError("--priority is one of " + known + ", not \"" + word + "\"");
}

Choices log_priorities() {
  Choices choices;
  for (size_t i = 0; i < kPriorities.size(); ++i) {
    choices.push_back({std::string(1, kPriorities[i]), kPriorityNames[i]});
  }
  return choices;
}

int64_t log_time(const std::string& word, const std::string& option, bool is_end) {
  if (const auto ago = duration(word)) return virtual_phone::now_us() - *ago;
  const auto written = written_time(word);
  if (!written.has_value()) {
    throw UsageError(option +
                     " is a time as 12:00:05, \"06-01 12:00\" or 10m (ago; s, m, h or d), not \"" +
                     word + "\"");
  }
  const int64_t unsaid = written->millisecond >= 0 ? 1 : written->second >= 0 ? 1000 : 60'000;
  return time_of(*written) + (is_end ? unsaid * 1000 - 1 : 0);
}

}  // namespace cli
