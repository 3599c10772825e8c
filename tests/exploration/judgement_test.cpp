// What is right and wrong of how a disturbed action ended, and which outcomes are accepted.
#include "exploration/judgement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "exploration/accepted.h"

namespace exploration {
namespace {

namespace vp = virtual_phone;
using std::string_literals::operator""s;
using testing::Message;
using testing::Throws;

/// Of "item 1=new, file /a=x".
Places places(const std::string& text) {
  Places made;
  std::istringstream all(text);
  for (std::string each; std::getline(all >> std::ws, each, ',');) {
    made[each.substr(0, each.find('='))] = each.substr(each.find('=') + 1);
  }
  return made;
}

/// It sets item 1, by way of another value and of zeros, and a property that a restart resets.
Reference reference(bool answers_for_all) {
  Reference made;
  made.answers_for_all = answers_for_all;
  made.run.ending = Ending::ended;
  made.run.outcome = {true, "result 0"};
  vp::PlatformAccess write{vp::Part::item, "1", vp::Access::write, "middle\0\0"s};
  made.run.trace.push_back(write);
  write.given = "\0\0"s;
  made.run.trace.push_back(write);
  made.after = {places("item 1 a=new, property v=1"),
                places("item 1 a=new"),
                {"result 0"},
                places("item 1 a=new")};
  made.never = {places("item 1 a=old"),
                places("item 1 a=old"),
                {"result 0"},
                places("item 1 a=new, file /late=x")};
  return made;
}

/// How it ended, as "done", "failed", "other" (done, with another answer), "cut"; or of a start,
/// which answers for nothing, "start".
struct Case {
  const char* ending;
  const char* running;
  const char* cut;
  const char* later;
  const char* outcome;
  const char* judgement;
  bool is_spoilt = false;
};

std::string judged(const Case& row) {
  const std::string ending = row.ending;
  Run run;
  run.ending = ending == "cut" ? Ending::cut : Ending::ended;
  run.is_spoilt = row.is_spoilt;
  if (ending == "failed") run.outcome = {false, "result 1"};
  if (ending == "other") run.outcome = {true, "result 0, x"};
  if (ending == "done" || ending == "start") run.outcome = {true, "result 0"};
  const Aftermath after{places(row.running), places(row.cut), {row.outcome}, places(row.later)};
  const Judgement made = judge(reference(ending != "start"), run, after);
  std::string text = vp::name_of(made.verdict);
  if (!made.why.empty()) text += "; " + made.why + ": " + made.is + ", not " + made.should_be;
  return text;
}

TEST(Judgement, OfWhatIsThereNowAndAfterACut) {
  constexpr char kNew[] = "item 1 a=new";
  constexpr char kBoth[] = "item 1 a=new, property v=1";
  constexpr char kOld[] = "item 1 a=old";
  constexpr char kDone[] = "result 0";
  const std::vector<Case> cases = {
      {"done", kBoth, kNew, kNew, kDone, "good"},
      {"done", kNew, kNew, kNew, kDone, "not kept; property v: -, not 1"},
      {"done", "item 1 a=old, property v=1", kOld, kNew, kDone, "not kept; item 1 a: old, not new"},
      {"done", kBoth, kOld, kNew, kDone, "not kept; after a power cut item 1 a: old, not new"},
      {"done", "item 1 a=new, property v=1, file /x=1", kNew, kNew, kDone,
       "not kept; file /x: 1, not -"},
      // What may be half done.
      {"failed", kOld, kOld, kNew, kDone, "good"},
      {"failed", kNew, kNew, kNew, kDone, "good"},
      {"failed", "item 1 a=middle", "item 1 a=middle", kNew, kDone, "good"},
      {"failed", "", "", kNew, kDone, "good"},  // the zeros
      {"failed", "item 1 a=midd", "item 1 a=midd", kNew, kDone,
       "wrong value; item 1 a: midd, not new"},
      {"failed", "item 1 a=midd", kNew, kNew, kDone, "wrong value; item 1 a: midd, not new"},
      {"failed", "item 1 a=new, item 10 b=middle", kNew, kNew, kDone,
       "unnamed change; item 10 b: middle, not -"},
      {"failed", "item 1 a=old, file /d/.temp.x=1", "item 1 a=old, file /d/.temp.x=1", kNew, kDone,
       "good"},
      {"failed", "item 1 a=old, file /d/temp.x=1", kOld, kNew, kDone,
       "unnamed change; file /d/temp.x: 1, not -"},
      // Of one that has not ended, only what the cut has left.
      {"cut", "item 1 a=midd", kOld, kNew, kDone, "good"},
      {"cut", kNew, "item 1 a=midd", kNew, kDone, "wrong value; item 1 a: midd, not new"},
      // A start sets properties by what it finds.
      {"start", "item 1 a=new, property v=2", kNew, kNew, kDone, "good"},
      {"failed", "item 1 a=new, property v=2", kNew, kNew, kDone,
       "wrong value; property v: 2, not 1"},
      {"start", "item 1 a=midd", kNew, kNew, kDone, "wrong value; item 1 a: midd, not new"},
      // What follows: as after one, or as after none.
      {"failed", kOld, kOld, "item 1 a=new, file /late=x", kDone, "good"},
      {"failed", kOld, kOld, "item 1 a=new, file /late=y", kDone,
       "not recovered; afterwards file /late: y, not -"},
      {"failed", kOld, kOld, kNew, "result 1", "not recovered; afterwards: result 1, not result 0"},
      {"done", kBoth, kNew, kOld, kDone, "not recovered; afterwards item 1 a: old, not new"},
      // Another answer.
      {"other", kBoth, kNew, kNew, kDone, "other answer; the answer: result 0, x, not result 0"},
      {"other", "item 1 a=midd", kOld, kNew, kDone, "wrong value; item 1 a: midd, not new"},
      // Nobody could tell that what was delivered was other content.
      {"other", kBoth, kNew, kNew, kDone, "as delivered; the answer: result 0, x, not result 0",
       true},
      {"done", kBoth, kNew, kNew, kDone, "good", true},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(row.judgement, judged(row)) << row.ending << ": " << row.running << "; " << row.cut;
  }
  const std::vector<std::pair<Ending, Verdict>> endings = {{Ending::crash, Verdict::crash},
                                                           {Ending::hang, Verdict::hang},
                                                           {Ending::error, Verdict::error}};
  for (const auto& [ending, verdict] : endings) {
    const Judgement made = judge_ending({ending, "why", {}, {}, true});
    EXPECT_EQ(verdict, made.verdict);
    EXPECT_EQ("why", made.why);
    EXPECT_TRUE(made.is_bad());
  }
}

TEST(Judgement, OfAValueTellsItsBeginning) {
  const std::string longest(128, 'x');
  for (const std::string& value : {longest, longest + "y"}) {
    const Case row{"failed", "", "", "item 1 a=new", "result 0", ""};
    Aftermath after{
        places("item 1 a=" + value), places("item 1 a=new"), {row.outcome}, places(row.later)};
    exploration::Run run;
    run.ending = Ending::ended;
    EXPECT_EQ(longest, judge(reference(true), run, after).is);
  }
}

TEST(Acceptances, AreReadLineByLine) {
  const auto read = read_accepted(
      "# a | b\n\n send 4010 |item read 9| fail * |not kept| Why | not.\n"
      "*|*|*|hang|x",
      "f");
  ASSERT_EQ(2U, read.size());
  EXPECT_EQ(3, read[0].line);
  EXPECT_EQ("send 4010/item read 9/fail */Why | not.",
            read[0].action + "/" + read[0].access + "/" + read[0].effect + "/" + read[0].reason);
  EXPECT_EQ(Verdict::not_kept, read[0].verdict);
  EXPECT_EQ(4, read[1].line);
  EXPECT_EQ(Verdict::hang, read[1].verdict);

  const std::vector<std::pair<const char*, const char*>> mistakes = {
      {"a|b|c|hang", "f:1: ACTION | ACCESS | EFFECT | VERDICT | REASON"},
      {"#\n\na|b|c|hang| ", "f:3: ACTION | ACCESS | EFFECT | VERDICT | REASON"},
      {"a| |c|hang|x\n", "f:1: ACTION | ACCESS | EFFECT | VERDICT | REASON"},
      {"a|b|c|hang|x\nno", "f:2: ACTION | ACCESS | EFFECT | VERDICT | REASON"},
      {"a|b|c|hangs|x", "f:1: there is no bad verdict \"hangs\""},
      {"a|b|c|good|x", "f:1: there is no bad verdict \"good\""},
      {"a|b|c|as delivered|x", "f:1: there is no bad verdict \"as delivered\""},
  };
  for (const auto& [text, message] : mistakes) {
    EXPECT_THAT(
        [text = text] { read_accepted(text, "f"); },
        Throws<vp::Refused>(testing::Property(&vp::Refused::what, testing::StrEq(message))));
  }
  EXPECT_NO_THROW(read_accepted(kAcceptedOutcomes, "accepted.txt"));
  EXPECT_TRUE(fits("send 440[56]*", "send 4406 1") && fits("file * /a/*", "file open /a/b/c"));
  EXPECT_FALSE(fits("boot", "boot --daemon") || fits("send 440[56]*", "send 4407"));
}

}  // namespace
}  // namespace exploration
