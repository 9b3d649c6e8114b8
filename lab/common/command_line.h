// SPDX-License-Identifier: Apache-2.0
// The command line of a program. Only command_line.cpp includes the library that parses it, because
// that library is slow to compile.
#ifndef ZY_COMMON_COMMAND_LINE_H_
#define ZY_COMMON_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace common {

// Receives the text of an argument; returns the reason for refusing it, or "".
using TakeText = std::function<std::string(const std::string& text)>;

// An option of a command, for further settings. Valid as long as the command line.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option* option) : option_(option) {}

  // Checks texts before the value is set.
  CommandOption& Checks(TakeText check);
  // Refuses values outside the range; for int, uint64_t or double.
  template <typename Value>
  CommandOption& Within(Value lowest, Value highest);
  CommandOption& IsRequired();
  // Accepts this number of values at once.
  CommandOption& Takes(int fewest, int most);
  // Accepts one value at each occurrence.
  CommandOption& Repeats();
  // Excludes the combination of two options; Needs requires it.
  CommandOption& Excludes(const CommandOption& other);
  CommandOption& Needs(const CommandOption& other);

 private:
  CLI::Option* option_;
};

// The arguments of a program or one of its subcommands. A name such as "--junit FILE" ends with the
// help's name for the value; one without dashes is a positional argument.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}

  using Value = std::variant<std::string*, int*, std::optional<int>*, uint32_t*, uint64_t*, double*,
                             std::vector<std::string>*>;

  // Adds an option that sets a value, which must outlive the parsing.
  CommandOption Add(const std::string& name, Value value, const std::string& about);
  // Adds an option whose text is passed to a function, or each of its texts.
  CommandOption AddText(const std::string& name, TakeText take, const std::string& about);
  // Adds a flag; "--x,!--no-x" sets and clears.
  CommandOption AddFlag(const std::string& names, bool* value, const std::string& about);
  CommandOption AddFlag(const std::string& names, std::optional<bool>* value,
                        const std::string& about);
  // Adds a subcommand; calls the function if it is chosen.
  Command AddCommand(const std::string& name, const std::string& about,
                     std::function<void()> chosen = {});
  void RequireCommand();

 protected:
  CLI::App* app_;
};

class CommandLine : public Command {
 public:
  // Shows `about` before the options in the help, and `examples` after them.
  CommandLine(const std::string& program, const std::string& about, const std::string& examples);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  // Parses the command line. Returns true to go on. Otherwise it has printed help, version or a
  // one-line error that begins with the program's name, and `exit_code` is the program's exit code.
  // No file that the program opens afterwards becomes a standard stream that the caller closed.
  bool Parse(int argc, char** argv, int* exit_code);

 private:
  std::unique_ptr<CLI::App> owned_;
};

// Refuses an empty file name, such as from an unset shell variable.
std::string NotEmpty(const std::string& text);

// Accepts the name of a file that is not standard output.
std::string NamedFile(const std::string& path);

// Accepts such a name for a PNG: one that ends in .png or has no extension.
std::string PngName(const std::string& path);

}  // namespace common

#endif  // ZY_COMMON_COMMAND_LINE_H_
