#include "tools/command_reference.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tools/command_example.h"
#include "tools/command_name.h"
#include "tools/delivery.h"
#include "tools/terminal.h"
#include "tools/text.h"

namespace cli {
namespace {

using factory_daemon::Delivery;

/// The phone of which the page tells.
constexpr char kProfile[] = "single";

/// The command line that sends a request.
std::string typed(const Exchange& exchange) {
  const std::string& data = exchange.data;
  const std::string send = "fcx send " + std::to_string(exchange.delivery.opcode);
  if (data.empty()) return send;
  if (!is_printable(data)) return send + " --hex " + to_hex(data);
  const bool is_plain = std::all_of(data.begin(), data.end(), [](char c) {
    return isalnum(c) != 0 || c == '/' || c == '.' || c == '-';
  });
  return send + " " + (is_plain ? data : "'" + data + "'");
}

/// What came back, a line each.
std::vector<std::string> outcome(const Delivery& delivery) {
  const qvcmd_response& response = delivery.response;
  std::string answer = "result " + std::to_string(response.result) + ", data_len " +
                       std::to_string(response.data_len);
  if (response.data_len != 0) answer += ", data " + shown(delivery.data());
  std::vector<std::string> lines = {std::move(answer)};
  for (const virtual_phone::Event& event : delivery.events) {
    lines.push_back("event " + event.kind + ": " + event.detail);
  }
  return lines;
}

/// Prints the example, each line after `indent`.
void print_example(const fcx::Command& row, const char* indent) {
  for (const Exchange& exchange : run_example(row, kProfile)) {
    printf("%s%s\n", indent, typed(exchange).c_str());
    for (const std::string& line : outcome(exchange.delivery)) {
      printf("%s    %s\n", indent, line.c_str());
    }
  }
}

/// Each word of `result` with what it means.
std::vector<std::string> result_texts(const fcx::Results& results) {
  std::vector<std::string> texts;
  int32_t word = 0;
  for (const char* meaning : results.words) {
    if (meaning != nullptr) texts.push_back(std::to_string(word) + ": " + meaning);
    ++word;
  }
  if (results.other != nullptr) texts.emplace_back(results.other);
  if (texts.empty()) texts.emplace_back("stays as it was passed");
  return texts;
}

std::string argument_meaning(const fcx::Command& row) {
  const std::string text = row.content == fcx::Content::imei ? "an IMEI, 15 digits" : "text";
  switch (row.argument) {
    case fcx::Argument::none:
      return "none";
    case fcx::Argument::payload:
      return text;
    case fcx::Argument::decimal:
      return "a number, of which the low 8 bits count";
    case fcx::Argument::request:
      return row.content == fcx::Content::imei ? text : "the whole request: bytes, and how many";
    case fcx::Argument::payload_or_none:
      return text + ", which is written; or none";
    case fcx::Argument::selector:
      return "none; the handler gets " + std::to_string(row.selector);
  }
  return "";
}

struct Fact {
  const char* label;
  std::string text;
};

constexpr char kResult[] = "result";

std::vector<Fact> facts_of(const fcx::Command& row) {
  std::vector<Fact> facts = {{"argument", argument_meaning(row)},
                             {"answer", row.answer == nullptr ? "nothing" : row.answer}};
  for (std::string& text : result_texts(row.results)) facts.push_back({kResult, std::move(text)});
  if (row.prepares_pool) facts.push_back({"pool", "the HIDL thread pool is prepared first"});
  return facts;
}

std::string heading_of(const fcx::Command& row) {
  return std::to_string(row.opcode) + (row.handler == nullptr ? "" : " " + command_names(row));
}

/// Where a link to a heading leads: in lower case, blanks as dashes, without other punctuation.
std::string anchor_of(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if (c == ' ') anchor += '-';
    if (isalnum(c) != 0 || c == '_') anchor += static_cast<char>(tolower(c));
  }
  return anchor;
}

void print_section(const fcx::Command& row) {
  std::string summary = row.summary;
  summary.front() = static_cast<char>(toupper(summary.front()));
  if (summary.back() != '?') summary += '.';
  printf("\n### %s\n\n%s\n\n", heading_of(row).c_str(), summary.c_str());
  for (const Fact& fact : facts_of(row)) {
    const bool is_result = std::string_view(fact.label) == kResult;
    printf("- %s%s %s\n", fact.label, is_result ? "" : ":", fact.text.c_str());
  }
  puts("\n```");
  print_example(row, "");
  puts("```");
}

}  // namespace

Json command_json(const fcx::Command& row) {
  const std::string writer = command_name(row.writer);
  Json results = Json::object();
  int32_t word = 0;
  for (const char* meaning : row.results.words) {
    if (meaning != nullptr) results[std::to_string(word)] = meaning;
    ++word;
  }
  if (row.results.other != nullptr) results["other"] = row.results.other;
  Json example = Json::array();
  for (const Exchange& exchange : run_example(row, kProfile)) {
    Json step = {{"typed", typed(exchange)}};
    step.update(delivery_json(shown_delivery(exchange.delivery)));
    example.push_back(step);
  }
  return {{"opcode", row.opcode},
          {"name", row.handler == nullptr ? Json() : Json(command_name(row.handler))},
          {"writes_as", writer.empty() ? Json() : Json(writer)},
          {"argument", argument_text(row)},
          {"answer", row.answer == nullptr ? Json() : Json(row.answer)},
          {"results", std::move(results)},
          {"prepares_pool", row.prepares_pool},
          {"summary", row.summary},
          {"example", std::move(example)}};
}

void print_reference(const fcx::Command& row) {
  constexpr size_t kMargin = 12;
  const size_t columns = output_columns().value_or(SIZE_MAX);
  puts(heading_of(row).c_str());
  for (const std::string& line : wrapped(row.summary, columns)) puts(line.c_str());
  for (const Fact& fact : facts_of(row)) {
    const char* label = fact.label;
    for (const std::string& line : wrapped(fact.text, columns - kMargin)) {
      printf("  %-10s%s\n", std::exchange(label, ""), line.c_str());
    }
  }
  puts("");
  print_example(row, "  ");
}

void print_page() {
  puts(R"(# Commands

Made from the command table by `scripts/update-docs`; do not edit. `fcx commands WORD` shows the
same of one command, or of all with such a word.

Of the argument, *text* is the request's text up to its NUL, *number* the same as a decimal number
cut to its low 8 bits, *request* the whole request with its length; of a row with *text or none* an
empty text reads and any other writes. A number in parentheses is handed to the handler. An opcode
that is not listed leaves the response as it was passed.

| Opcode | Name | Argument | What it does |
|---|---|---|---|)");
  for (const fcx::Command& row : fcx::command_table()) {
    printf("| [%d](#%s) | %s | %s | %s |\n", row.opcode, anchor_of(heading_of(row)).c_str(),
           command_names(row).c_str(), argument_text(row).c_str(), row.summary);
  }
  puts(R"(
## One by one

The answer is what `data` holds when the command was done; `data_len` is 0 when it failed, unless
said otherwise. Each example was run when this page was made, on a fresh phone of its own (profile
single): what was typed, what the response was, and what happened to the phone. The response was
cleared before.)");
  for (const fcx::Command& row : fcx::command_table()) print_section(row);
}

}  // namespace cli
