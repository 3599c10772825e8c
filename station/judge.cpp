#include "station/judge.h"

#include "daemon/hex.h"
#include "station/ledger_text.h"
#include "station/pattern.h"

namespace station {
namespace {

std::string as_quoted(std::string_view bytes) { return "\"" + plain_text(bytes) + "\""; }

class Judge {
 public:
  Judge(const Step& step, const Answer& answer, const Values& values, const Values& answers)
      : step_(step), expect_(step.expect), answer_(answer), values_(values), answers_(answers) {}

  Judgement take() {
    made_.holds = true;
    hold_result();
    hold_content();
    hold_limits();
    hold_same();
    std::string more = as_quoted(answer_.bytes);
    if (!answer_.reason.empty()) more = plain_text(answer_.reason);
    made_.got = shown_result(answer_.result, answer_.is_ok) + ", " + more;
    return std::move(made_);
  }

 private:
  void expect(bool holds, const std::string& what) {
    made_.holds = made_.holds && holds;
    made_.expected += (made_.expected.empty() ? "" : ", ") + what;
  }

  std::string shown_result(int32_t result, bool is_ok) const {
    if (step_.kind == Step::Kind::at) return is_ok ? "OK" : "ERROR";
    return "result " + std::to_string(result);
  }

  void hold_result() {
    const bool is_it = step_.kind == Step::Kind::at ? answer_.is_ok == expect_.is_ok
                                                    : answer_.result == expect_.result;
    expect(is_it, shown_result(expect_.result, expect_.is_ok));
  }

  void hold_content() {
    if (expect_.pattern.has_value()) return hold_pattern();
    made_.value = answer_.bytes;
    if (expect_.bytes.has_value()) {
      expect(answer_.bytes == *expect_.bytes, "hex:" + factory_daemon::to_hex(*expect_.bytes));
    }
    if (!expect_.text.has_value()) return;
    const auto text = filled(*expect_.text, values_);
    expect(text == answer_.bytes, text.has_value() ? as_quoted(*text) : kNoValue);
  }

  void hold_pattern() {
    const auto text = filled_pattern(*expect_.pattern, values_);
    if (!text.has_value()) return expect(false, kNoValue);
    std::string wrong;
    const auto pattern = Pattern::read(*text, wrong);
    if (!pattern.has_value()) return expect(false, "a pattern, but " + wrong);
    const auto groups = pattern->match(answer_.bytes);
    if (groups.has_value() && expect_.capture < groups->size()) {
      made_.value = (*groups)[expect_.capture];
    }
    expect(groups.has_value(), "what matches " + plain_text(*text));
  }

  void hold_limits() {
    const auto number = Decimal::read(made_.value.value_or(""));
    if (expect_.min.has_value()) {
      expect(number.has_value() && number->compare(*expect_.min) >= 0,
             "at least " + expect_.min->text());
    }
    if (expect_.max.has_value()) {
      expect(number.has_value() && number->compare(*expect_.max) <= 0,
             "at most " + expect_.max->text());
    }
  }

  void hold_same() {
    if (!expect_.same_as.has_value()) return;
    const auto other = answers_.find(*expect_.same_as);
    const bool is_there = other != answers_.end();
    expect(is_there && made_.value == other->second,
           is_there ? as_quoted(other->second) + " as in " + *expect_.same_as
                    : "what " + *expect_.same_as + " was answered, which is nothing");
  }

  static constexpr const char* kNoValue = "a text with a variable that has no value";

  const Step& step_;
  const Expectation& expect_;
  const Answer& answer_;
  const Values& values_;
  const Values& answers_;
  Judgement made_;
};

}  // namespace

Judgement judge(const Step& step, const Answer& answer, const Values& values,
                const Values& answers) {
  return Judge(step, answer, values, answers).take();
}

}  // namespace station
