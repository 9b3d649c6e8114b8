// SPDX-License-Identifier: Apache-2.0
// nodecheck: tests whether a camera node behaves.
#include "nodecheck/nodecheck.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>

#include "common/program.h"
#include "framework/worker_watch.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

std::map<std::string, const Check*>& Registered() {
  static std::map<std::string, const Check*> checks;
  return checks;
}

// Runs checks, each after those that it needs, and prints the chosen ones.
class Runner {
 public:
  Runner(const Options& options, std::vector<const Check*> chosen)
      : options_(options), chosen_(std::move(chosen)) {}

  void Run(const Check& check) {
    if (done_.count(&check) != 0) return;
    const std::string missing = RunNeeded(check.needs);
    const Result result = missing.empty() ? RunCheck(options_, check)
                                          : Result{&check, Verdict::kNotRun, missing, "", "", 0};
    done_[&check] = result.verdict == Verdict::kOk ? "" : check.name + (": " + result.note);
    if (!IsChosen(check)) return;
    PrintResult(result);
    results_.push_back(result);
  }
  // Runs the checks that a check needs. Returns the reason why it cannot run, "" if it can.
  std::string RunNeeded(const std::vector<const Check*>& needs) {
    for (const Check* needed : needs) {
      Run(*needed);
      if (done_[needed].empty()) continue;
      return IsChosen(*needed) ? "it needs " + std::string(needed->name) : done_[needed];
    }
    return "";
  }
  int Finish() const {
    const bool is_good = PrintSummary(results_);
    if (!options_.junit.empty()) {
      const common::Failure failure = WriteJunit(options_.junit, results_);
      if (failure) return common::Say(kProgram, failure->message, common::kExitFailure);
    }
    return common::EndOutput(kProgram, is_good ? common::kExitOk : common::kExitFailure);
  }

 private:
  bool IsChosen(const Check& check) const {
    return std::find(chosen_.begin(), chosen_.end(), &check) != chosen_.end();
  }

  const Options& options_;
  const std::vector<const Check*> chosen_;
  std::map<const Check*, std::string> done_;  // "" or the failure
  std::vector<Result> results_;
};

int List(const std::vector<const Check*>& checks) {
  for (const Check* check : checks) std::printf("%-22s %s\n", check->name, check->about);
  return common::EndOutput(kProgram, common::kExitOk);
}

std::vector<const Check*> Choose(const Options& options) {
  if (options.soak != 0) return {&kSoak};
  std::vector<const Check*> chosen;
  for (const auto& [name, check] : Registered()) {
    const bool matches =
        options.here.empty() ? name.find(options.filter) != name.npos : name == options.here;
    if (matches && check != &kLoading && check != &kSoak) chosen.push_back(check);
  }
  return chosen;
}

// Opens no library and starts no thread, so that each child process begins clean.
int Main(const Options& options) {
  const std::vector<const Check*> chosen = Choose(options);
  if (chosen.empty()) {
    return common::Say(kProgram,
                       options.here.empty() ? "no check's name contains " + options.filter
                                            : "no check is called " + options.here,
                       common::kExitUsage);
  }
  if (options.list) return List(chosen);
  PrepareRuns();
  Runner runner(options, chosen);
  std::string missing = runner.RunNeeded({&kLoading});
  if (missing.empty() && !options.here.empty()) missing = runner.RunNeeded(chosen[0]->needs);
  if (!missing.empty()) return common::Say(kProgram, missing, common::kExitFailure);
  if (!options.here.empty()) RunHere(options, *chosen[0]);
  for (const Check* check : chosen) runner.Run(*check);
  return runner.Finish();
}

}  // namespace

Check::Check(const char* own_name, const char* sentence, Run function,
             std::vector<const Check*> needed)
    : name(own_name), about(sentence), run(function), needs(std::move(needed)) {
  Registered()[name] = this;
}

Subject::Subject(const Options& subject_options) : options(subject_options) {
  Require(device.Open(options.devices));
}

framework::NodeEntry Subject::Entry() {
  Doing("the loading of the node");
  if (entry_ == nullptr) Require(framework::OpenNode(options.node, &entry_));
  return entry_;
}

const ChiNodeCallbacks& Subject::Node() {
  if (!is_started_) {
    const framework::NodeEntry entry = Entry();
    Doing("the start of the node");
    Require(framework::Framework::Get().Start(entry));
    is_started_ = true;
  }
  return framework::Framework::Get().Callbacks();
}

void Subject::AwaitWorkers() const {
  Doing("the workers' last passes");
  Require(framework::WaitForIdleWorkers(Patience()), "after the requests",
          "an idle worker within " + std::to_string(Patience().count()) + " ms", "none");
}

const Check kLoading("loading", "", [](Subject* subject) { subject->Entry(); }, {});

}  // namespace nodecheck

int main(int argc, char** argv) {
  nodecheck::Options options;
  int exit_code = common::kExitOk;
  if (!nodecheck::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return common::RunWithinMemory(nodecheck::kProgram, [&] { return nodecheck::Main(options); });
}
