#include "simulation/life.h"

#include "simulation/commands.h"
#include "simulation/random.h"

namespace simulation {
namespace {

namespace vp = virtual_phone;
using Kind = factory_daemon::Action::Kind;

constexpr int32_t kFactoryReset = 4405;
constexpr int64_t kMinuteUs = int64_t{60} * 1'000'000;

vp::Unflushed draw_unflushed(Random& random) {
  constexpr vp::Unflushed kAll[] = {vp::Unflushed::dropped, vp::Unflushed::dropped,
                                    vp::Unflushed::torn, vp::Unflushed::kept};
  return random.pick(kAll);
}

/// @param changes about as many as the step makes
void disturb(Random& random, const Product& product, uint32_t changes, Step& step) {
  const uint32_t drawn = random.below(10);
  if (drawn < 4) {
    step.disturbance = draw_fault(random, step, product);
    return;
  }
  const bool is_killed = drawn < 7;
  vp::Fault fault{0,
                  is_killed ? vp::Part::daemon : vp::Part::power,
                  "",
                  vp::Access::any,
                  is_killed ? vp::Effect::dies : vp::Effect::cut,
                  0,
                  1};
  fault.after = 1 + random.below(changes);
  if (!is_killed) fault.value = static_cast<int64_t>(draw_unflushed(random));
  step.disturbance = fault;
}

Step start(Kind kind) {
  Step step;
  step.action = {kind, 0, ""};
  return step;
}

Step power_cut(Random& random) {
  Step step;
  step.kind = Step::Kind::power_cut;
  step.unflushed = draw_unflushed(random);
  return step;
}

Step another_sim(Random& random) {
  constexpr int64_t kDelays[] = {0, 0, 0, 3, 100};
  Step step;
  step.kind = Step::Kind::sim;
  const uint32_t drawn = random.below(10);
  step.sim.state = drawn == 0   ? vp::SimState::absent
                   : drawn == 1 ? vp::SimState::error
                                : vp::SimState::inserted;
  if (step.sim.state == vp::SimState::inserted) step.sim.iccid = random.pick(sim_cards()).iccid;
  step.sim.not_yet = random.pick(kDelays);
  return step;
}

Step rewrite(Random& random, const Product& product) {
  Step step;
  step.kind = Step::Kind::network_code;
  step.text = random.pick(product.codes)->text;
  return step;
}

Step card(Random& random) {
  Step step;
  step.kind = Step::Kind::card;
  step.name = random.chance(60) ? kInsert : kRemove;
  return step;
}

Step modem_value(Random& random) {
  Step step;
  step.kind = Step::Kind::modem_value;
  step.name = random.pick(std::vector<const char*>{"imei1", "meid", "pid"});
  const std::string digits = draw_imei(random, true);
  step.text = step.name == "imei1"  ? digits
              : step.name == "meid" ? "A" + digits.substr(0, 13)
                                    : "QV" + digits + "A";
  return step;
}

Step something(Random& random, const Product& product) {
  const uint32_t drawn = random.below(100);
  if (drawn < 8) return another_sim(random);
  if (drawn < 14) return rewrite(random, product);
  if (drawn < 20) return modem_value(random);
  if (drawn < 24) return power_cut(random);
  if (drawn < 26) return card(random);
  Step step;
  if (drawn < 29) {
    step.action = {Kind::restart, 0, "maintenance"};
  } else if (drawn < 35) {
    step.action = {Kind::daemon_start, 0, ""};
  } else if (drawn < 39) {
    step.action = {Kind::command, kFactoryReset, ""};
  } else {
    step.action = draw_command(random);
  }
  return step;
}

/// Whether something can be in the way of it.
bool is_daemons(const Step& step) {
  return (step.kind == Step::Kind::action && step.action.kind != Kind::restart) ||
         step.kind == Step::Kind::network_code;
}

class Days {
 public:
  Days(Random& random, Life& life) : random_(random), life_(life) {}

  void add_day(int day) {
    constexpr int64_t kMorning = 360;
    time_us_ = kFirstDayUs + day * kDayUs + (kMorning + random_.below(60)) * kMinuteUs;
    add_disturbed(start(Kind::start), is_much_new_ ? 70 : 40);
    const uint32_t count = 3 + random_.below(5);
    for (uint32_t i = 0; i < count; ++i) add_disturbed(something(random_, *life_.product), 60);
  }

 private:
  void add(const Step& step) {
    life_.steps.push_back(step);
    life_.steps.back().time_us = time_us_;
    time_us_ += (5 + random_.below(60)) * kMinuteUs;
  }

  /// Of a start that decides anew the decision comes in the first half.
  uint32_t changes_of(const Step& step) {
    constexpr uint32_t kUpToDecision = 30;
    constexpr uint32_t kOfLongStart = 75;
    if (!step.is_start() || !is_much_new_) return most_changes(step);
    return random_.chance(60) ? kUpToDecision : kOfLongStart;
  }

  void note_what_is_new(const Step& step) {
    const bool is_reset = step.is_action(Kind::command) && step.action.opcode == kFactoryReset;
    const bool is_new = step.kind == Step::Kind::sim || step.kind == Step::Kind::network_code;
    if (is_new || is_reset) is_much_new_ = true;
    if (step.is_start() && !step.disturbance.has_value()) is_much_new_ = false;
  }

  /// So often of a hundred times something is in its way. What was done must outlive a power cut.
  void add_disturbed(Step step, uint32_t percent) {
    if (is_daemons(step) && random_.chance(percent)) {
      disturb(random_, *life_.product, changes_of(step), step);
    }
    note_what_is_new(step);
    add(step);
    if (is_daemons(step) && random_.chance(15)) add(power_cut(random_));
    if (step.is_start() && step.disturbance.has_value() && random_.chance(50)) {
      add(start(Kind::start));
    }
  }

  Random& random_;
  Life& life_;
  int64_t time_us_ = 0;
  /// What the next start finds, which decides anew then.
  bool is_much_new_ = true;
};

}  // namespace

Life draw_life(uint64_t seed, int days, const Product* product) {
  Random random(seed);
  const Product& drawn = random.pick(products());
  Life life{seed, days, product == nullptr ? &drawn : product};
  Days of_life(random, life);
  for (int day = 0; day < days; ++day) of_life.add_day(day);
  return life;
}

}  // namespace simulation
