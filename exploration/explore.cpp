#include "exploration/explore.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <random>
#include <thread>

#include "exploration/image.h"
#include "exploration/message.h"
#include "virtual_phone/core/scratch.h"

namespace exploration {
namespace {

namespace fs = std::filesystem;
namespace vp = virtual_phone;
using android::base::unique_fd;
using factory_daemon::Action;

/// What is tried: one disturbance, or two.
struct Plan {
  std::vector<Disturbance> disturbances;
};

bool is_start(const Action& action) {
  return action.kind == Action::Kind::start || action.kind == Action::Kind::daemon_start;
}

/// How often an action is repeated to see whether it has recovered: a start may need the next one.
int repeats_of(const Action& action) { return is_start(action) ? 2 : 1; }

void add(Writer& writer, const Places& places) {
  writer.add(static_cast<int64_t>(places.size()));
  for (const auto& [name, value] : places) {
    writer.add(name);
    writer.add(value);
  }
}

Places places_from(Reader& reader) {
  Places places;
  for (int64_t left = reader.number(); left > 0; --left) {
    std::string name = reader.text();
    places[name] = reader.text();
  }
  return places;
}

std::string encoded(const Aftermath& after) {
  Writer writer;
  add(writer, after.running);
  add(writer, after.cut);
  add(writer, after.later);
  for (const std::string& outcome : after.outcomes) writer.add(outcome);
  return writer.bytes();
}

Aftermath aftermath_from(const std::string& bytes) {
  Reader reader(bytes);
  Aftermath after;
  after.running = places_from(reader);
  after.cut = places_from(reader);
  after.later = places_from(reader);
  while (!reader.is_at_end()) after.outcomes.push_back(reader.text());
  return after;
}

/// What comes after an action that nobody disturbs, in a process of its own. Throws Error.
Aftermath undisturbed_aftermath(const fs::path& phone, const Action& action) {
  const Apart told = apart(Bounds{std::chrono::hours(1), std::chrono::seconds(60)},
                           [&] { return encoded(look_after(phone, action, repeats_of(action))); });
  if (told.ending != Ending::ended) {
    throw vp::Error("it does not end well when nobody disturbs it: " + told.bytes);
  }
  return aftermath_from(told.bytes);
}

Reference reference_of(const fs::path& place, const PhoneImage& original, const Action& action) {
  Reference reference;
  reference.answers_for_all = !is_start(action);
  const fs::path once = place / "once";
  const fs::path never = place / "never";
  original.write_to(once);
  original.write_to(never);
  reference.run = run_apart(once, action, {}, Bounds());
  if (reference.run.ending != Ending::ended) {
    throw vp::Error("it does not end well when nobody disturbs it: " + reference.run.what);
  }
  reference.after = undisturbed_aftermath(once, action);
  reference.never = undisturbed_aftermath(never, action);
  return reference;
}

std::string came_out(const Run& run) {
  switch (run.ending) {
    case Ending::ended:
      return run.outcome.text;
    case Ending::cut:
      return "the power was cut";
    default:
      return run.what;
  }
}

/// One try, on a copy that is removed again.
/// @return what came out, the verdict, and why
std::string try_one(const PhoneImage& original, const fs::path& copy, const Action& action,
                    const Reference& reference, const Plan& plan) {
  original.write_to(copy);
  const Run run = run_apart(copy, action, plan.disturbances, Bounds());
  Judgement judgement = judge_ending(run);
  if (run.ending == Ending::ended || run.ending == Ending::cut) {
    judgement = judge(reference, run, look_after(copy, action, repeats_of(action)));
  }
  Writer writer;
  writer.add(came_out(run));
  writer.add(static_cast<int64_t>(judgement.verdict));
  writer.add(judgement.why);
  writer.add(judgement.is);
  writer.add(judgement.should_be);
  return writer.bytes();
}

/// What one try told, or how its process ended instead: of what follows a disturbance, a crash is
/// one, too.
void note(const Apart& told, Try& tried) {
  if (told.ending == Ending::ended) {
    Reader reader(told.bytes);
    tried.came_out = reader.text();
    tried.judgement.verdict = static_cast<Verdict>(reader.number());
    tried.judgement.why = reader.text();
    tried.judgement.is = reader.text();
    tried.judgement.should_be = reader.text();
    return;
  }
  tried.came_out = "the undisturbed one after it: " + told.bytes;
  tried.judgement = judge_ending({told.ending, tried.came_out, {}, {}, false});
}

/// Tries every `step`th from the `first` on, and tells each as it is done.
void work_through(const fs::path& place, const PhoneImage& original, const Action& action,
                  const Reference& reference, const std::vector<Plan>& plans, size_t first,
                  size_t step, int told_to) {
  const fs::path copy = place / ("copy-" + std::to_string(first));
  for (size_t i = first; i < plans.size(); i += step) {
    const Bounds whole{std::chrono::hours(1), std::chrono::seconds(60)};
    const Apart told =
        apart(whole, [&] { return try_one(original, copy, action, reference, plans[i]); });
    fs::remove_all(copy);
    Writer writer;
    writer.add(static_cast<int64_t>(i));
    writer.add(static_cast<int64_t>(told.ending));
    writer.add(told.bytes);
    Writer framed;
    framed.add(writer.bytes());
    const std::string& bytes = framed.bytes();
    for (size_t done = 0; done < bytes.size();) {
      const ssize_t put =
          TEMP_FAILURE_RETRY(write(told_to, bytes.data() + done, bytes.size() - done));
      if (put < 0) return;
      done += static_cast<size_t>(put);
    }
  }
}

/// A process that tries a part of all, and what it has told and is not taken up yet.
struct Worker {
  pid_t process = -1;
  unique_fd from;
  std::string told;
};

Worker start_worker(const std::function<void(int)>& work) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  Worker worker;
  worker.from.reset(ends[0]);
  unique_fd to(ends[1]);
  worker.process = fork();
  if (worker.process < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (worker.process > 0) return worker;
  worker.from.reset();
  try {
    work(to.get());
  } catch (const std::exception&) {
    _exit(1);  // what is missing tells
  }
  _exit(0);
}

/// Takes up what a worker has told whole. @return whether it goes on
bool take_up(Worker& worker, const std::function<void(size_t, const Apart&)>& take) {
  std::array<char, 65536> piece;
  const ssize_t got = TEMP_FAILURE_RETRY(read(worker.from.get(), piece.data(), piece.size()));
  if (got <= 0) return false;
  worker.told.append(piece.data(), static_cast<size_t>(got));
  while (true) {
    const size_t colon = worker.told.find(':');
    if (colon == std::string::npos) return true;
    const size_t size = std::stoul(worker.told.substr(0, colon));
    if (worker.told.size() < colon + 1 + size) return true;
    Reader reader(std::string_view(worker.told).substr(colon + 1, size));
    const auto number = static_cast<size_t>(reader.number());
    const auto ending = static_cast<Ending>(reader.number());
    take(number, {ending, reader.text()});
    worker.told.erase(0, colon + 1 + size);
  }
}

/// Tries them all, on all processors. Throws Error when some are missing in the end.
void try_all(const fs::path& place, const PhoneImage& original, const Action& action,
             const Reference& reference, const std::vector<Plan>& plans, std::vector<Try>& tries,
             const std::function<void(size_t, size_t)>& progress) {
  const size_t count = std::max(1U, std::thread::hardware_concurrency());
  std::vector<Worker> workers;
  for (size_t i = 0; i < count; ++i) {
    workers.push_back(start_worker([&](int told_to) {
      work_through(place, original, action, reference, plans, i, count, told_to);
    }));
  }
  size_t done = 0;
  const auto take = [&](size_t number, const Apart& told) {
    note(told, tries.at(number));
    progress(++done, plans.size());
  };
  std::vector<pollfd> waiting;
  for (const Worker& worker : workers) waiting.push_back({worker.from.get(), POLLIN, 0});
  for (size_t open = workers.size(); open > 0;) {
    if (poll(waiting.data(), waiting.size(), -1) < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    for (size_t i = 0; i < workers.size(); ++i) {
      if (waiting[i].revents == 0 || take_up(workers[i], take)) continue;
      waiting[i].fd = -1;
      --open;
    }
  }
  for (const Worker& worker : workers) {
    int status = 0;
    // What it told is here; how it ended says nothing more.
    static_cast<void>(TEMP_FAILURE_RETRY(waitpid(worker.process, &status, 0)));
  }
  if (done < plans.size())
    throw vp::Error("some tries were not made: there is no room, or no memory");
}

/// What is tried two at a time: after each usual failure every later one, of what is accessed then.
std::vector<Plan> pairs_of(const fs::path& place, const PhoneImage& original, const Action& action,
                           const Reference& reference,
                           std::vector<std::vector<vp::PlatformAccess>>& traces) {
  std::vector<Plan> plans;
  const fs::path copy = place / "first";
  for (const Disturbance& first : failures_of(reference.run.trace)) {
    original.write_to(copy);
    const Run run = run_apart(copy, action, {first}, Bounds());
    fs::remove_all(copy);
    for (const Disturbance& second : failures_of(run.trace)) {
      if (second.access <= first.access) continue;
      plans.push_back({{first, second}});
      traces.push_back(run.trace);
    }
  }
  return plans;
}

/// Leaves so many of a hundred, drawn by the seed.
void draw_share(int share, uint64_t seed, std::vector<Plan>& plans,
                std::vector<std::vector<vp::PlatformAccess>>& traces) {
  constexpr int kAll = 100;
  if (share >= kAll) return;
  std::mt19937_64 random(seed);
  std::vector<Plan> drawn;
  std::vector<std::vector<vp::PlatformAccess>> their_traces;
  for (size_t i = 0; i < plans.size(); ++i) {
    if (random() % kAll >= static_cast<uint64_t>(share)) continue;
    drawn.push_back(std::move(plans[i]));
    if (!traces.empty()) their_traces.push_back(std::move(traces[i]));
  }
  plans = std::move(drawn);
  traces = std::move(their_traces);
}

Try named_try(const Request& request, const Plan& plan,
              const std::vector<vp::PlatformAccess>& first_trace,
              const std::vector<vp::PlatformAccess>& second_trace) {
  Try named;
  for (size_t i = 0; i < plan.disturbances.size(); ++i) {
    const auto& trace = i == 0 ? first_trace : second_trace;
    const Disturbance& each = plan.disturbances[i];
    named.struck.emplace_back(access_name(trace, each.access), effect_name(each));
    named.access += (i == 0 ? "" : " + ") + named.struck.back().first;
    named.effect += (i == 0 ? "" : " + ") + named.struck.back().second;
    named.shown_by.push_back(fault_command(trace, each));
  }
  named.shown_by.push_back("fcx " + request.name);
  return named;
}

/// Of two failures one that fits is enough: what is accepted of it comes with another one, too.
bool is_accepted_by(const Acceptance& acceptance, const Try& tried) {
  return acceptance.verdict == tried.judgement.verdict &&
         std::any_of(tried.struck.begin(), tried.struck.end(), [&](const auto& each) {
           return fits(acceptance.access, each.first) && fits(acceptance.effect, each.second);
         });
}

/// Marks what is accepted. @return the acceptances of this action that nothing fits any more
std::vector<Acceptance> accept(const Request& request, std::vector<Try>& tries) {
  std::vector<Acceptance> unseen;
  for (const Acceptance& each : request.accepted) {
    if (!fits(each.action, request.name)) continue;
    bool is_seen = false;
    for (Try& tried : tries) {
      if (!is_accepted_by(each, tried)) continue;
      is_seen = true;
      if (tried.accepted.empty()) tried.accepted = each.reason;
    }
    if (!is_seen) unseen.push_back(each);
  }
  return unseen;
}

}  // namespace

size_t Report::bad() const {
  return static_cast<size_t>(std::count_if(tries.begin(), tries.end(), [](const Try& tried) {
    return tried.judgement.is_bad() && tried.accepted.empty();
  }));
}

Report explore(const Request& request, const std::function<void(size_t, size_t)>& progress) {
  const vp::Scratch scratch(vp::quick_directory(), "explore", vp::Scratch::Kind::folder);
  const fs::path& place = scratch.path();
  const PhoneImage original(request.phone);
  const Reference reference = reference_of(place, original, request.action);
  Report report{reference.run.outcome, reference.run.trace, {}, {}};
  // Nothing in its way is a try, too: what it says to be done must be kept.
  std::vector<Plan> plans;
  std::vector<std::vector<vp::PlatformAccess>> traces;
  if (request.pairs) {
    plans = pairs_of(place, original, request.action, reference, traces);
  } else {
    for (const Disturbance& each : disturbances_of(report.trace)) plans.push_back({{each}});
  }
  draw_share(request.share, request.seed, plans, traces);
  for (size_t i = 0; i < plans.size(); ++i) {
    report.tries.push_back(
        named_try(request, plans[i], report.trace, traces.empty() ? report.trace : traces[i]));
  }
  plans.push_back({});
  report.tries.push_back(
      {"none", "nothing", {{"none", "nothing"}}, "", {}, "", {"fcx " + request.name}});
  try_all(place, original, request.action, reference, plans, report.tries, progress);
  report.unseen = accept(request, report.tries);
  // A share of the tries, and two at a time, say nothing of what they leave out.
  if (request.share < 100 || request.pairs) report.unseen.clear();
  return report;
}

}  // namespace exploration
