// SPDX-License-Identifier: Apache-2.0
#include "common/command_line.h"

#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <utility>

#include "common/escape.h"
#include "common/program.h"

namespace common {
namespace {

// Opens a folder for standard streams that the caller closed. So no later file takes their number,
// and their use still fails, also by the name of a device.
void KeepStandardStreamsApart() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // open() returns the lowest free number, which is this one.
    if (open("/", O_PATH) != stream) return;
  }
}

// Shows the value in the help as the name does.
CommandOption WithValue(const std::string& name, CLI::Option* option) {
  const std::size_t space = name.find(' ');
  if (space != name.npos) option->type_name(name.substr(space + 1));
  return CommandOption(option);
}

}  // namespace

CommandOption& CommandOption::Checks(TakeText check) {
  option_->check(std::move(check));
  return *this;
}

template <typename Value>
CommandOption& CommandOption::Within(Value lowest, Value highest) {
  option_->check(CLI::Range(lowest, highest));
  return *this;
}

template CommandOption& CommandOption::Within(int, int);
template CommandOption& CommandOption::Within(uint64_t, uint64_t);
template CommandOption& CommandOption::Within(double, double);

CommandOption& CommandOption::IsRequired() {
  option_->required();
  return *this;
}

CommandOption& CommandOption::Takes(int fewest, int most) {
  option_->expected(fewest, most);
  return *this;
}

CommandOption& CommandOption::Repeats() {
  option_->allow_extra_args(false);
  return *this;
}

CommandOption& CommandOption::Excludes(const CommandOption& other) {
  option_->excludes(other.option_);
  return *this;
}

CommandOption& CommandOption::Needs(const CommandOption& other) {
  option_->needs(other.option_);
  return *this;
}

CommandOption Command::Add(const std::string& name, Value value, const std::string& about) {
  const auto add = [&](auto* to) {
    return app_->add_option(name.substr(0, name.find(' ')), *to, about);
  };
  return WithValue(name, std::visit(add, value));
}

CommandOption Command::AddText(const std::string& name, TakeText take, const std::string& about) {
  using Texts = std::vector<std::string>;
  const std::string option = name.substr(0, name.find(' '));
  const auto take_or_throw = [option, take = std::move(take)](const Texts& texts) {
    for (const std::string& text : texts) {
      const std::string refusal = take(text);
      if (!refusal.empty()) throw CLI::ValidationError(option, refusal);
    }
  };
  return WithValue(name,
                   app_->add_option_function<Texts>(option, take_or_throw, about)->expected(1));
}

CommandOption Command::AddFlag(const std::string& names, bool* value, const std::string& about) {
  return CommandOption(app_->add_flag(names, *value, about));
}

CommandOption Command::AddFlag(const std::string& names, std::optional<bool>* value,
                               const std::string& about) {
  const auto set = [value](int64_t count) { *value = count > 0; };
  return CommandOption(app_->add_flag_function(names, set, about));
}

Command Command::AddCommand(const std::string& name, const std::string& about,
                            std::function<void()> chosen) {
  CLI::App* const command = app_->add_subcommand(name, about);
  if (chosen) command->callback(std::move(chosen));
  return Command(command);
}

void Command::RequireCommand() { app_->require_subcommand(1); }

CommandLine::CommandLine(const std::string& program, const std::string& about,
                         const std::string& examples)
    : Command(nullptr), owned_(std::make_unique<CLI::App>(about, program)) {
  app_ = owned_.get();
  app_->footer(examples);
}

CommandLine::~CommandLine() = default;

bool CommandLine::Parse(int argc, char** argv, int* exit_code) {
  KeepStandardStreamsApart();
  app_->set_version_flag("--version", app_->get_name() + " " + kVersion);
  try {
    app_->parse(argc, argv);
    return true;
  } catch (const CLI::Success& help_or_version) {
    *exit_code = app_->exit(help_or_version) == 0 && std::cout.flush() ? kExitOk : kExitFailure;
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    for (char& c : message) c = c == '\n' ? ' ' : c;
    message = Escaped(message);
    const std::string name = app_->get_name();
    std::fprintf(stderr, "%s: %s (see %s --help)\n", name.c_str(), message.c_str(), name.c_str());
    *exit_code = kExitUsage;
  }
  return false;
}

std::string NotEmpty(const std::string& text) { return text.empty() ? "must not be empty" : ""; }

std::string NamedFile(const std::string& path) {
  return path == "-" ? "is not written to standard output; name a file" : NotEmpty(path);
}

std::string PngName(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension();
  if (ending.empty()) return NamedFile(path);
  for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ending == ".png" ? "" : path + " must end in .png, because the picture is a PNG";
}

}  // namespace common
