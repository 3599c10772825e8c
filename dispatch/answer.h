// How a handler fills its answer: the conventions that all of them share.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "common/log.h"
#include "common/text.h"
#include "fcx/factory_items.h"
#include "fcx/qvcmd.h"

namespace fcx {

/// Clears the whole record, `reserved` too.
inline void clear(qvcmd_response& response) { response = {}; }

/// Answers with text: `data` NUL-terminated, cut at 2047 characters, `data_len` its length.
inline void answer_text(qvcmd_response& response, std::string_view text) {
  const size_t length = text.copy(response.data, sizeof response.data - 1);
  response.data[length] = '\0';
  response.data_len = static_cast<int32_t>(length);
}

/// Answers with bytes as they are, followed by a NUL where there is room.
inline void answer_bytes(qvcmd_response& response, std::string_view bytes) {
  const size_t length = bytes.copy(response.data, sizeof response.data);
  if (length < sizeof response.data) response.data[length] = '\0';
  response.data_len = static_cast<int32_t>(length);
}

/// Answers with a number's decimal text.
inline void answer_number(qvcmd_response& response, int number) {
  std::array<char, 12> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  answer_text(response, {digits.data(), static_cast<size_t>(end - digits.data())});
}

/// Answers with one raw byte, not an ASCII digit.
inline void answer_byte(qvcmd_response& response, int value) {
  response.data[0] = static_cast<char>(value);
  response.data_len = 1;
}

/// The result word for an item access, which fails with a negative return.
inline int32_t item_result(int store_return) { return store_return < 0 ? QVCMD_FAIL : QVCMD_OK; }

/// A result word with a third outcome: codes but 0 and 1 are 2.
inline int32_t three_way_result(int code) { return code == 0 || code == 1 ? code : 2; }

/// The bytes that a request says it has, of those that it can have.
inline std::string_view payload_bytes(const qvcmd_request& request) {
  constexpr auto kMost = static_cast<int32_t>(sizeof request.data);
  return {request.data, static_cast<size_t>(std::clamp(request.data_len, 0, kMost))};
}

/// Logs that a function called by `handler`, which returns 0 when it is done, returned anything
/// else.
inline void log_failure(const char* handler, int function_return) {
  if (function_return != 0) HANDLER_ERROR("%s: failed with %d\n", handler, function_return);
}

/// The same, and hands on what was returned.
[[nodiscard]] inline int32_t logged(const char* handler, int function_return) {
  log_failure(handler, function_return);
  return function_return;
}

/// The same as a result word.
[[nodiscard]] inline int32_t result_of(const char* handler, int function_return) {
  return logged(handler, function_return) == 0 ? QVCMD_OK : QVCMD_FAIL;
}

/// The request's text: up to its NUL, 2048 bytes at most. The caller's record may end there.
inline std::string_view payload_text(const qvcmd_request& request) {
  return bounded_text(request.data, sizeof request.data);
}

/// A decimal argument: the number cut to its low 8 bits, and the text that it came from.
struct Decimal {
  explicit Decimal(std::string_view payload)
      : value(static_cast<uint8_t>(decimal_number(payload))), text(payload) {}

  uint8_t value;
  std::string_view text;
};

/// An item's text.
template <int index>
using ItemText = TextBuffer<factory_item<index>().length>;

/// Reads an item for `handler`, whose text is empty when that fails. A failure is logged.
/// @return the result word
template <int index>
[[nodiscard]] int32_t read_item_text(const char* handler, ItemText<index>& text) {
  const int32_t result =
      item_result(read_item(factory_item<index>(), text.data(), text.capacity()));
  if (result != QVCMD_OK) HANDLER_ERROR("%s: item %d cannot be read\n", handler, index);
  return result;
}

/// Writes text to an item for `handler`. A failure is logged.
/// @return the result word
template <int index>
[[nodiscard]] int32_t write_item_text(const char* handler, std::string_view text) {
  const int32_t result = item_result(write_item(factory_item<index>(), text));
  if (result != QVCMD_OK) HANDLER_ERROR("%s: item %d cannot be written\n", handler, index);
  return result;
}

/// Whether a command clears the whole response before it does anything.
enum class Record { keeps, clears };

/// Logs what was read from an item, or written to it.
using ItemLine = void (*)(int index, const char* text);

/// Answers with an item's text as it is stored, or with `when_empty`. `line` may be null.
template <int index>
void answer_item(const char* handler, Record record, std::string_view when_empty, ItemLine line,
                 qvcmd_response& response) {
  if (record == Record::clears) clear(response);
  ItemText<index> text;
  response.result = read_item_text<index>(handler, text);
  if (response.result != QVCMD_OK) return;
  if (line != nullptr) line(index, text.c_str());
  answer_text(response, text.empty() ? when_empty : text.view());
}

/// Stores a text in an item. `line` may be null.
template <int index>
void store_item(const char* handler, Record record, std::string_view text, ItemLine line,
                qvcmd_response& response) {
  if (record == Record::clears) clear(response);
  response.result = write_item_text<index>(handler, text);
  if (response.result == QVCMD_OK && line != nullptr) line(index, ItemText<index>(text).c_str());
}

}  // namespace fcx
