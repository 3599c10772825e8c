// Test plans: what is read of them, and what is said of one that is wrong.
#include "station/plan.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "station/csv.h"
#include "station/pattern.h"
#include "station/text.h"
#include "virtual_phone/core/error.h"

namespace station {
namespace {

using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;

std::string told(const PlanReading& reading) {
  std::string all;
  for (const PlanError& error : reading.errors) all += error.line() + "\n";
  return all;
}

std::string errors_of(const std::string& text, const std::string& file = "p") {
  return told(parse_plan(text, file, "/nowhere"));
}

std::string text_of(const Text& text) {
  std::string all;
  for (const Piece& piece : text) all += piece.is_variable ? "<" + piece.text + ">" : piece.text;
  return all;
}

/// Of a step all that is not as in one that says nothing more than what it is.
std::string description(const Step& step) {
  const Expectation& expect = step.expect;
  std::string all = step.name + ": " + std::to_string(static_cast<int>(step.kind));
  const auto add = [&all](bool is_told, const char* name, const std::string& value) {
    if (is_told) all += std::string(" ") + name + "=" + value;
  };
  add(step.opcode != 0, "opcode", std::to_string(step.opcode));
  add(!step.text.empty(), "text", text_of(step.text));
  add(step.bytes.has_value(), "bytes", step.bytes.value_or(""));
  add(step.time_limit_ms != 0, "limit", std::to_string(step.time_limit_ms));
  add(step.pause_ms != 0, "pause", std::to_string(step.pause_ms));
  add(step.only_daemon, "daemon", "only");
  add(step.identity.has_value(), "identity", step.identity.value_or(""));
  add(expect.result != 0, "result", std::to_string(expect.result));
  add(!expect.is_ok, "result", "ERROR");
  add(expect.text.has_value(), "answer", text_of(expect.text.value_or(Text())));
  add(expect.pattern.has_value(), "pattern", text_of(expect.pattern.value_or(Text())));
  add(expect.capture != 0, "capture", std::to_string(expect.capture));
  add(expect.bytes.has_value(), "hex", expect.bytes.value_or(""));
  if (expect.min.has_value()) add(true, "min", expect.min->text());
  if (expect.max.has_value()) add(true, "max", expect.max->text());
  add(expect.same_as.has_value(), "same_as", expect.same_as.value_or(""));
  add(expect.save.has_value(), "save", expect.save.value_or(""));
  add(step.repeat != 1, "repeat", std::to_string(step.repeat));
  add(step.on_failure == OnFailure::go_on, "on_failure", "continue");
  for (const Step& inner : step.steps) all += " {" + description(inner) + "}";
  return all;
}

/// Each step of a plan of these steps, or what is wrong with it.
std::string read_steps(const std::string& steps, const std::string& after = "") {
  const PlanReading reading = parse_plan("plan: p\nsteps:\n" + steps + after, "p", "");
  if (!reading.plan.has_value()) return told(reading);
  std::string all;
  for (const Step& step : reading.plan->steps) all += description(step) + "\n";
  return all;
}

TEST(Plan, IsReadAsItIsMeant) {
  const std::pair<std::string, std::string> cases[] = {
      {"- {name: a, send: get_serial_number}", "a: 0 opcode=4010 limit=60000\n"},
      {"- {name: a, send: handle_write_imei, argument: 0123, identity: imei}",
       "a: 0 opcode=4293 text=0123 limit=60000 identity=imei\n"},
      {"- {name: 1.0, send: 0xFAA, argument: off, time_limit: 500ms}",
       "1.0: 0 opcode=4010 text=off limit=500\n"},
      {"- {name: a, send: 70000, raw: true, argument_hex: '41:42 43'}",
       "a: 0 opcode=70000 bytes=ABC limit=60000\n"},
      {"- name: a\n  at: AT%X\n  expect: {result: ERROR, text: 'x$$y', save: v}\n"
       "- {name: b, at: 'A${v}B', expect: {pattern: '(a)|b', same_as: a}}",
       "a: 1 text=AT%X limit=60000 result=ERROR answer=x$y save=v\n"
       "b: 1 text=A<v>B limit=60000 pattern=(a)|b capture=1 same_as=a\n"},
      {"- {name: a, send: 4018, expect: {result: -1, min: -.5, max: 1e3, pattern: a(.), capture: "
       "0}}",
       "a: 0 opcode=4018 limit=60000 result=-1 pattern=a(.) min=-.5 max=1e3\n"},
      {"- {name: a, send: 4018, expect: {hex: 4a4b}}", "a: 0 opcode=4018 limit=60000 hex=JK\n"},
      {"- {name: a, pause: 2 min}\n- {name: b, boot: True}\n- {name: c, boot: daemon}",
       "a: 2 pause=120000\nb: 3 limit=300000\nc: 3 limit=300000 daemon=only\n"},
      {"- name: a\n  time_limit: 168 h\n  group:\n    repeat: 1_0\n    steps: []",
       "p:6:13: step \"a\": \"repeat\" is a whole number from 1 to 1000000, not \"1_0\"\n"
       "p:7:12: step \"a\": \"steps\" is a list of steps, one at least, not an empty list\n"},
      {"- name: a\n  time_limit: 168 h\n  group:\n    repeat: 1000000\n    on_failure: continue\n"
       "    steps: [{name: b, at: AT}]",
       "a: 4 limit=604800000 repeat=1000000 on_failure=continue {b: 1 text=AT limit=60000}\n"}};
  for (const auto& [steps, expected] : cases) EXPECT_EQ(expected, read_steps(steps)) << steps;
}

TEST(Plan, IsJsonToTheLetter) {
  const std::string same[] = {
      R"({"plan":"p","steps":[{"name":"a","send":4018,"argument":"\/\u0041\ud83d\ude00\t\u00e9","time_limit":"1 s"}]})",
      "\xEF\xBB\xBF "
      "\t{\"plan\"\n:\t\"p\",\r\n\"steps\":\r[{\"name\":\"a\"\n,\"send\":4018,\"argument\":\"/"
      "A\xF0\x9F\x98\x80"
      "\\t\xC3\xA9\",\"time_limit\":\"1 s\"} ] }\n"};
  for (const std::string& text : same) {
    for (const char* file : {"p.json", "p.yaml"}) {
      const PlanReading reading = parse_plan(text, file, "");
      ASSERT_EQ("", told(reading)) << file;
      EXPECT_EQ("a: 0 opcode=4018 text=/A\xF0\x9F\x98\x80\t\xC3\xA9 limit=1000",
                description(reading.plan->steps.at(0)));
    }
  }
  const std::pair<std::string, std::string> wrong[] = {
      {"{plan: p}", "p.json:1:2: this is no JSON: a name in double quotes is expected\n"},
      {"{\"a\": 01}", "p.json:1:7: this is no JSON: a number does not begin with 0\n"},
      {"{\"a\": -}", "p.json:1:7: this is no JSON: after - comes a digit\n"},
      {"{\"a\": 1.}", "p.json:1:7: this is no JSON: after the point of a number comes a digit\n"},
      {"{\"a\": 1e+}", "p.json:1:7: this is no JSON: after the e of a number comes a digit\n"},
      {"{\"a\": True}", "p.json:1:7: this is no JSON: a value is expected\n"},
      {"{\"a\" 1}", "p.json:1:6: this is no JSON: after a name comes :\n"},
      {"{\"a\": 1\r\n\"b\"}", "p.json:2:1: this is no JSON: after a value comes , or }\n"},
      {"[1 2]", "p.json:1:4: this is no JSON: after a value of a list comes , or ]\n"},
      {"{} {}", "p.json:1:4: this is no JSON: here the plan's object has ended already\n"},
      {"[\"a", "p.json:1:4: this is no JSON: a text has no end\n"},
      {"[\"a\tb\"]", "p.json:1:4: this is no JSON: a text has a control character\n"},
      {"[\"\xC3\xA9\\ud800\\u0041\"]",
       "p.json:1:4: this is no JSON: half of a surrogate pair stands alone\n"},
      {"[\"\\udc00\"]", "p.json:1:3: this is no JSON: half of a surrogate pair stands alone\n"},
      {"[\"\\x41\"]",
       "p.json:1:3: this is no JSON: \\ stands before one of \"\\/bfnrt, or u and four digits\n"},
      {"", "p.json:1:1: this is no JSON: a value is expected\n"}};
  for (const auto& [text, expected] : wrong) EXPECT_EQ(expected, errors_of(text, "p.json")) << text;
}

TEST(Plan, TellsItsErrorsWithTheirPlaces) {
  const std::string nested =
      "plan: p\nsteps:\n- {name: a, group: {steps: [{name: b, group: "
      "{steps: [{name: b, at: AT}]}}]}}\n";
  const std::pair<std::string, std::string> cases[] = {
      {"",
       "p:1:1: a plan is a map of fields (plan, description, time_limit, on_failure, variables, "
       "steps), not nothing\n"},
      {"plan: p\nstep: []",
       "p:1:1: \"steps\" is missing here\n"
       "p:2:1: no field of a plan is called \"step\". Near it: steps\n"},
      {"plan: yes\nplan: p\nsteps: [{name: a, at: 1, name: b}]",
       "p:2:1: \"plan\" is there twice, first in line 1\n"
       "p:3:26: \"name\" is there twice, first in line 3\n"},
      {"plan: &a p\nsteps: [*a]", "p:1:7: anchors and aliases are not read here\n"},
      {"plan: p\nsteps: [*a]", "p:2:9: anchors and aliases are not read here\n"},
      {"plan: !!str p", "p:1:7: tags are not read here\n"},
      {"plan: p\n---\nplan: q", "p:2:1: a plan is one document: a second begins here\n"},
      {"[p]: q", "p:1:1: a name is expected before a colon\n"},
      {"plan: 'p\n",
       "p:2:1: this is no YAML: found unexpected end of stream while scanning a quoted "
       "scalar\n"},
      {"plan: p\n# \xC3\xA9\xC3(", "p:2:4: this is no UTF-8\n"},
      {"plan: \xED\xA0\x80", "p:1:7: this is no UTF-8\n"},
      {"plan: \xE0\x9F\xBF", "p:1:7: this is no UTF-8\n"},
      {"plan: \xF0\x8F\xBF\xBF", "p:1:7: this is no UTF-8\n"},
      {"plan: \xF4\x90\x80\x80", "p:1:7: this is no UTF-8\n"},
      {"{plan: \x7F}",
       "p:1:8: a control character stands here: in double quotes \\x and two digits\n"},
      {"plan: \x01",
       "p:1:7: a control character stands here: in double quotes \\x and two digits\n"},
      {std::string(32, '['),
       "p:2:1: this is no YAML: did not find expected node content while "
       "parsing a flow node\n"},
      {std::string(33, '['), "p:1:33: values are more than 32 deep in each other\n"},
      {"[]" + std::string((1 << 20) - 2, '#'),
       "p:1:1: a plan is a map of fields (plan, description, time_limit, on_failure, variables, "
       "steps), not an empty list\n"},
      {std::string((1 << 20) + 1, '#'), "p:1:1: a plan has at most 1 MiB\n"},
      {nested, "p:3:55: step \"b\": another step has this name, in line 3\n"},
      {"plan: true\ndescription: ~\ntime_limit: 60\non_failure: never\nsteps: [x]",
       "p:1:7: \"plan\" is a text, here in quotes, not true\n"
       "p:2:14: \"description\" is a text, here in quotes, not nothing\n"
       "p:3:13: \"time_limit\" is a time with its unit, as 500 ms, 10 s, 2 min or 1 h, not 60\n"
       "p:4:13: \"on_failure\" is one of stop, continue, not \"never\"\n"
       "p:5:9: a step is a map of fields (name, send, raw, argument, argument_hex, expect, "
       "identity, "
       "time_limit, at, pause, boot, group), not \"x\"\n"}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(expected, errors_of(text)) << text.substr(0, 99);
}

TEST(Plan, TellsWhatIsWrongWithAStep) {
  const std::string longest(2047, 'x');
  const std::string many = "- {name: a, group: {repeat: 1000, steps: [{name: b, group: {repeat: ";
  const std::pair<std::string, std::string> cases[] = {
      {"- {send: 4018, agument: 1}",
       "3:3: \"name\" is missing here\n"
       "3:16: no field of a step is called \"agument\". Near it: argument, argument_hex\n"},
      {"- {name: \"a\\x9b\", at: AT}",
       "3:10: step \"a\\xc2\\x9b\": \"name\" is a text of one line, 1 to 80 characters, not "
       "\"a\\xc2\\x9b\"\n"},
      {"- {name: a}",
       "3:3: step \"a\": a step has one of send, at, pause, boot and group, not 0\n"},
      {"- {name: a, at: AT, boot: true}",
       "3:3: step \"a\": a step has one of send, at, pause, boot and group, not 2\n"},
      {"- {name: a, pause: 0 s, raw: true, time_limit: 169 h}",
       "3:20: step \"a\": \"pause\" is a time from 1 ms to 168 h, as 500 ms, 10 s, 2 min or 1 h, "
       "not "
       "\"0 s\"\n"
       "3:30: step \"a\": \"raw\" does not go with \"pause\"\n"
       "3:48: step \"a\": \"time_limit\" does not go with \"pause\"\n"
       "3:48: step \"a\": \"time_limit\" is a time from 1 ms to 168 h, as 500 ms, 10 s, 2 min or 1 "
       "h, "
       "not \"169 h\"\n"},
      {"- {name: a, send: get_serial_numbr}",
       "3:19: step \"a\": no command is called \"get_serial_numbr\". Near it: get_serial_number\n"},
      {"- {name: a, send: 4999}",
       "3:19: step \"a\": no command has the opcode 4999; with \"raw: true\" it is sent all the "
       "same\n"},
      {"- {name: a, send: 4294967296, raw: true, argument: x, argument_hex: 4}",
       "3:19: step \"a\": \"send\" is a command's name, or its number, of at most 32 bits, not "
       "4294967296\n"
       "3:69: step \"a\": \"argument_hex\" is hexadecimal digits of 1 to 2048 bytes, not 4\n"
       "3:69: step \"a\": a command has one of \"argument\" and \"argument_hex\"\n"},
      {"- {name: a, send: 4018, argument: x" + longest + "}",
       "3:35: step \"a\": a request holds at most 2047 bytes of text, not 2048\n"},
      {"- {name: a, at: \"AT\\n\"}",
       "3:17: step \"a\": \"at\" is one line without control characters, of 1 to 2048 bytes, not "
       "\"AT\\x0a\"\n"},
      {"- {name: a, boot: false}",
       "3:19: step \"a\": \"boot\" is true, or daemon for the daemon alone, not false\n"},
      {"- {name: a, at: $a, expect: {text: '${b', save: 9}}",
       "3:17: step \"a\": a dollar is written $$, and a variable ${NAME}, of letters, digits and "
       "_\n"
       "3:36: step \"a\": a dollar is written $$, and a variable ${NAME}, of letters, digits and "
       "_\n"
       "3:49: step \"a\": \"save\" is a variable's name: 1 to 64 letters, digits and _, no digit "
       "first, not 9\n"},
      {"- {name: a, at: AT, expect: {text: a, hex: '00', min: .inf, max: '1', capture: 1}}",
       "3:29: step \"a\": an answer is expected by one of text, pattern and hex\n"
       "3:55: step \"a\": \"min\" is a number, without quotes, not .inf\n"
       "3:66: step \"a\": \"max\" is a number, without quotes, not \"1\"\n"
       "3:80: step \"a\": \"capture\" is the number of a group of \"pattern\"\n"},
      {"- {name: a, at: AT, expect: {min: 0.30000000000000001, max: 0.3, pattern: a(b, result: 0}}",
       "3:61: step \"a\": \"max\" is 0.3, and \"min\" more: 0.30000000000000001\n"
       "3:75: step \"a\": this is no extended regular expression: Unmatched ( or \\(\n"
       "3:88: step \"a\": \"result\" is one of OK, ERROR, not 0\n"},
      {"- {name: a, at: AT, expect: {pattern: (a), capture: 2}}",
       "3:53: step \"a\": the pattern has 1 groups, not 2\n"},
      {many + "1001, steps: [{name: c, at: AT}]}}]}}",
       "3:69: step \"b\": with those of the groups around it this repeats its steps 1001000 times; "
       "at most 1000000\n"},
      {"- {name: a, at: '${v}', expect: {save: v}}",
       "3:17: step \"a\": the variable \"v\" is saved only by this step itself\n"},
      {"- name: a\n  group: {repeat: 1000, steps: [{name: b, group: {repeat: 1000, steps: [{name: "
       "c, "
       "group: {repeat: 2, steps: [{name: d, at: A}]}}]}}]}",
       "4:99: step \"c\": with those of the groups around it this repeats its steps 2000000 times; "
       "at most 1000000\n"},
      {"- {name: a, at: 'A${v}', expect: {same_as: a, save: u}}\n"
       "- {name: b, at: A, expect: {same_as: d, save: v}}\n- {name: c, pause: 1 s}\n"
       "- {name: d, at: '${x}', expect: {same_as: c}}\n- {name: e, at: A, expect: {same_as: aa}}",
       "3:17: step \"a\": the variable \"v\" is saved only later, in line 4\n"
       "3:44: step \"a\": a step is compared with an earlier one, not with itself\n"
       "3:53: step \"a\": the variable \"u\" has its values from \"variables\": save under another "
       "name\n"
       "4:38: step \"b\": the step \"d\" comes later, in line 6\n"
       "6:17: step \"d\": no variable is called \"x\". There are u, v\n"
       "6:43: step \"d\": the step \"c\" has no answer: only send and at have one\n"
       "7:38: step \"e\": no step is called \"aa\". There are a, b, c, d, e\n"}};
  for (const auto& [steps, lines] : cases) {
    std::string expected;
    for (size_t begin = 0; begin < lines.size(); begin = lines.find('\n', begin) + 1) {
      expected += "p:" + lines.substr(begin, lines.find('\n', begin) + 1 - begin);
    }
    EXPECT_EQ(expected, read_steps(steps, "\nvariables: {u: {value: 1}}")) << steps;
  }
}

TEST(Plan, TellsOfTwentyErrorsAndOfALimitOfPatterns) {
  std::string nineteen;
  for (int i = 0; i < 19; ++i) nineteen += "- {name: a" + std::to_string(i) + "}\n";
  const auto count = [](const std::string& steps) {
    return parse_plan("plan: p\nsteps:\n" + steps, "p", "").errors.size();
  };
  EXPECT_EQ(19U, count(nineteen));
  EXPECT_EQ(20U, count(nineteen + "- {name: b}"));
  EXPECT_EQ(20U, count(nineteen + "- {name: b}\n- {name: c}"));
  std::string patterns;
  for (int i = 0; i < 67; ++i) {
    patterns += "- {name: a" + std::to_string(i) + ", at: A, expect: {pattern: 'a{300}'}}\n";
  }
  EXPECT_EQ(0U, count(patterns));
  EXPECT_EQ(1U, count(patterns + "- {name: b, at: A, expect: {pattern: a}}"));
}

class PlanFiles : public testing::Test {
 protected:
  PlanFiles() { std::filesystem::create_directory(folder_); }
  ~PlanFiles() override { std::filesystem::remove_all(folder_); }

  void write(const char* name, std::string_view text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }
  /// A plan whose variables are these.
  PlanReading read(const std::string& variables) {
    write("p", "plan: p\nvariables:\n" + variables + "\nsteps: [{name: a, at: A}]");
    return read_plan((folder_ / "p").string());
  }
  std::string errors(const std::string& variables) {
    std::string all = told(read(variables));
    const std::string name = folder_.string() + "/";
    for (size_t at; (at = all.find(name)) != std::string::npos;) all.erase(at, name.size());
    return all;
  }

  const std::filesystem::path folder_ = testing::TempDir() + "plans." + std::to_string(getpid());
};

TEST_F(PlanFiles, GiveEachUnitItsValues) {
  write("a.csv", "\xEF\xBB\xBFimei,name\r\n1,\"a,\"\"b\"\"\"\r\n2,c\r\n3,d");
  const PlanReading reading = read(
      "  i: {csv: a.csv, column: name}\n  l: {list: [007, x, y, z]}\n  v: {value: $}\n"
      "  c: {counter: {first: SN0998}}\n  q: {pool: p}");
  ASSERT_EQ("", told(reading));
  EXPECT_EQ(3U, units_of(*reading.plan));
  EXPECT_EQ((Values{{"c", "SN0998"}, {"i", "a,\"b\""}, {"l", "007"}, {"v", "$"}}),
            values_for(*reading.plan, 0));
  EXPECT_EQ((Values{{"c", "SN1000"}, {"i", "d"}, {"l", "y"}, {"v", "$"}}),
            values_for(*reading.plan, 2));
  EXPECT_EQ(std::nullopt, values_for(*reading.plan, 3));
  const std::pair<const char*, std::optional<uint64_t>> units[] = {
      {"  a: {value: x}\n  b: {pool: y}", std::nullopt},
      {"  a: {counter: {first: A98, count: 2}}", 2},
      {"  a: {list: [x, y]}\n  b: {list: [x]}", 1},
      {"  a: {list: [x]}\n  b: {list: [x, y]}", 1},
      {"  a: {counter: {first: A98}}", 2},
      {"  a: {counter: {first: A99}}", 1},
      {"  a: {counter: {first: \"00000000000000000000000\"}}", 1'000'000'000}};
  for (const auto& [variables, expected] : units) {
    const PlanReading each = read(variables);
    EXPECT_EQ("", told(each));
    EXPECT_EQ(expected, units_of(*each.plan)) << variables;
  }
}

TEST_F(PlanFiles, AreToldOfWithTheirLines) {
  write("short.csv", "a,b\n1,2\n3\n");
  write("open.csv", "a\n\"1\n2");
  write("quote.csv", "a,b\n\"x\ny\",1\nx\"y,2\n");
  write("empty.csv", "a,b\n1,\n");
  write("control.csv", "a\n\t\n");
  write("head.csv", "a,a\n");
  write("large.csv", std::string((16 << 20) + 1, 'x'));
  const std::pair<std::string, std::string> cases[] = {
      {"{csv: short.csv, column: a}",
       "short.csv:3:1: this row has 1 fields, and the first line 2\n"},
      {"{csv: open.csv, column: a}", "open.csv:2:1: a field in quotes has no end\n"},
      {"{csv: quote.csv, column: b}",
       "quote.csv:4:1: after a field comes a comma or the end of the line\n"},
      {"{csv: empty.csv, column: b}", "empty.csv:2:1: the value of \"b\" is empty\n"},
      {"{csv: control.csv, column: a}",
       "control.csv:2:1: the value of \"a\" has a control character, or no UTF-8\n"},
      {"{csv: head.csv, column: a}", "head.csv:1:1: two columns are called \"a\"\n"},
      {"{csv: empty.csv, column: c}", "empty.csv:1:1: no column is called \"c\". There are a, b\n"},
      {"{csv: large.csv, column: a}", "p:3:12: \"large.csv\" has more than 16 MiB\n"},
      {"{csv: none.csv, column: a}",
       "p:3:12: \"none.csv\" cannot be read: No such file or directory\n"},
      {"{csv: ., column: a}", "p:3:12: \".\" cannot be read: it is a directory\n"},
      {"{csv: short.csv}", "p:3:12: \"csv\" needs a \"column\" beside it\n"},
      {"{list: [x, '', [y]], column: a}",
       "p:3:17: a value is a text of one line, not empty, not \"\"\n"
       "p:3:21: a value is a text of one line, not empty, not a list\n"
       "p:3:35: \"column\" belongs to \"csv\"\n"},
      {"{counter: {first: A98, count: 3}}",
       "p:3:36: the digits at the end of \"A98\" have room for 2 of these 3 values\n"},
      {"{counter: {first: A9B}}",
       "p:3:24: \"first\" is a text that ends in digits, which count, not \"A9B\"\n"},
      {"{pool: p, value: x}",
       "p:3:6: a variable has one of list, csv, counter, pool and value, not 2\n"}};
  for (const auto& [variable, expected] : cases) {
    EXPECT_EQ(expected, errors("  x: " + variable)) << variable;
  }
  EXPECT_EQ(
      "p:3:3: a variable is called by 1 to 64 letters, digits and _, no digit first, not \"x-y\"\n",
      errors("  x-y: {value: 1}"));
  mkfifo((folder_ / "pipe").c_str(), 0600);
  for (const char* name : {"none", "", "pipe"}) {
    EXPECT_THROW(read_plan((folder_ / name).string()), virtual_phone::Error) << name;
  }
}

TEST(Decimals, AreComparedExactly) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"0", "-0.0", 0},      {"3.30", "3.3", 0},
      {"1e3", "1000", 0},    {"0.001e3", "+1", 0},
      {"9", "10", -1},       {"-9", "-10", 1},
      {"-1", "0.1", -1},     {"0", "0.1", -1},
      {"5", "0", 1},         {"9007199254740993", "9007199254740992.999", 1},
      {"0.09", "0.1", -1},   {".5", "5e-1", 0},
      {"123", "1234e-1", -1}};
  const auto order = [](const char* a, const char* b) {
    const int found = Decimal::read(a)->compare(*Decimal::read(b));
    return (found > 0) - (found < 0);
  };
  for (const auto& [a, b, expected] : cases) {
    EXPECT_EQ(expected, order(a, b)) << a << " " << b;
    EXPECT_EQ(-expected, order(b, a)) << a << " " << b;
  }
  for (const char* text : {"", "-", ".", "1 ", " 1", "1e", "1e1001", "0x1", "1,5", "inf"}) {
    EXPECT_FALSE(Decimal::read(text).has_value()) << text;
  }
  EXPECT_EQ(INT64_MIN, Decimal::read("-9223372036854775808")->whole());
  EXPECT_EQ(std::nullopt, Decimal::read("9223372036854775808")->whole());
  EXPECT_EQ(std::nullopt, Decimal::read("1.5")->whole());
  EXPECT_EQ(0, Decimal::read("0.00")->whole());
}

TEST(Patterns, MatchWholeAnswersInBoundedTime) {
  const std::tuple<std::string, std::string_view, std::string> cases[] = {
      {"a|bc", "bc", "bc"},
      {"a|bc", "abc", "none"},
      {"", "", ""},
      {"%X: ([0-9]+)(,(x))?", "%X: 12", "%X: 12|12||"},
      {"a.b", "a\0b"sv, "none"},
      {"a.b", "a\nb", "a\nb"},
      {"[])]+\\)[[:alpha:])]*", "])])x)", "])])x)"},
      {"a{300}", std::string_view("aaa"), "none"},
      {"a{301}", "", "with its repeats written out a pattern has at most 300 characters"},
      {"(a{10}){30}b", "", "with its repeats written out a pattern has at most 300 characters"},
      {"((((((((((a+)+)+)+)+)+)+)+)+)+)+", "",
       "with its repeats written out a pattern has at most 300 characters"},
      {std::string(301, 'a'), "", "a pattern has at most 300 bytes"},
      {"a\0"s, "", "a pattern has no NUL"},
      {"a)(b", "", "a ) is without its ("},
      {"(a)\\1", "", "a pattern does not refer back to its groups: \\ stands before no digit"},
      {"\\\\1", "\\1", "\\1"}};
  for (const auto& [text, answer, expected] : cases) {
    std::string told;
    if (const auto pattern = Pattern::read(text, told)) {
      const auto found = pattern->match(answer);
      if (!found.has_value()) told = "none";
      for (size_t i = 0; found.has_value() && i < found->size(); ++i) {
        told += (i == 0 ? "" : "|") + (*found)[i];
      }
    }
    EXPECT_EQ(expected, told) << text;
  }
  std::string wrong;
  const Text quoted = {{"<", false}, {"V", true}, {">", false}};
  const std::string value = "a.[b](c)*+?{1}|^$\\9";
  const auto pattern = Pattern::read(*filled_pattern(quoted, {{"V", value}}), wrong);
  ASSERT_TRUE(pattern.has_value()) << wrong;
  EXPECT_TRUE(pattern->match("<" + value + ">").has_value());
  EXPECT_EQ("<" + value + ">", filled(quoted, {{"V", value}}));
  EXPECT_EQ(std::nullopt, filled(quoted, {}));
}

TEST(Plan, IsAsLargeAsItsStepsAndRepeats) {
  const std::string steps =
      "steps:\n- {name: a, pause: 3 s}\n- name: b\n  group:\n    repeat: "
      "1000\n    steps:\n    - {name: c, at: A, time_limit: 2 s}\n    - "
      "{name: d, group: {repeat: 10, steps: [{name: e, pause: 1 ms}]}}\n";
  const auto size = [](const std::string& text) {
    const PlanSize found = size_of(*parse_plan(text, "p", "").plan);
    return std::vector<uint64_t>{found.steps, found.groups, found.runs,
                                 static_cast<uint64_t>(found.time_ms)};
  };
  EXPECT_EQ((std::vector<uint64_t>{3, 2, 11'001, 2'013'000}), size("plan: p\n" + steps));
  EXPECT_EQ((std::vector<uint64_t>{3, 2, 11'001, 600'000}),
            size("plan: p\ntime_limit: 10 min\n" + steps));
  EXPECT_EQ((std::vector<uint64_t>{3, 2, 11'001, 63'000}),
            size("plan: p\n" + steps + "  time_limit: 1 min\n"));
}

}  // namespace
}  // namespace station
