// SPDX-License-Identifier: Apache-2.0
// The command line of a program. The library that parses it is slow to compile; command_line.cpp
// alone includes it.
#ifndef ZY_COMMON_COMMAND_LINE_H_
#define ZY_COMMON_COMMAND_LINE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace common {

// Takes the text of an argument. Returns the reason why it is refused; an empty one accepts it.
using TakeText = std::function<std::string(const std::string& text)>;

// An option of a command, to say more about it. Valid as long as the command line.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option* option) : option_(option) {}

  // Names the value in the help, such as FILE.
  CommandOption& Shows(const std::string& value);
  // Refuses texts before the value is set.
  CommandOption& Checks(TakeText check);
  // Refuses values outside of the range; of int, uint64_t or double.
  template <typename Value>
  CommandOption& Within(Value lowest, Value highest);
  CommandOption& IsRequired();
  // Takes so many values at once.
  CommandOption& Takes(int fewest, int most);
  // Takes one value each time that it is given.
  CommandOption& Repeats();
  // Refuses the two together; refuses this one without the other.
  CommandOption& Excludes(const CommandOption& other);
  CommandOption& Needs(const CommandOption& other);

 private:
  CLI::Option* option_;
};

// What a program, or one of its subcommands, takes. A name without dashes is a positional argument.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}

  // Adds an option that sets a value: a string, an int, an optional one, an unsigned number, a
  // double, or a vector of strings or of uint64_t. The value must outlive the parsing.
  template <typename Value>
  CommandOption Add(const std::string& name, Value* value, const std::string& about);
  // Adds an option whose text goes to a function.
  CommandOption AddText(const std::string& name, TakeText take, const std::string& about);
  // Adds a flag; "--x,!--no-x" are one that sets and one that clears.
  CommandOption AddFlag(const std::string& names, bool* value, const std::string& about);
  CommandOption AddFlag(const std::string& names, std::optional<bool>* value,
                        const std::string& about);
  // Adds a subcommand, and calls a function when it was chosen.
  Command AddCommand(const std::string& name, const std::string& about,
                     std::function<void()> chosen = {});
  void RequireCommand();

 protected:
  CLI::App* app_;
};

class CommandLine : public Command {
 public:
  // The help shows `about` before the options and `examples` behind them.
  CommandLine(const std::string& program, const std::string& about, const std::string& examples);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  // Reads the command line. Returns true to go on; otherwise help, version or the error is printed,
  // an error as one line that begins with the program's name, and `exit_code` is the program's.
  bool Parse(int argc, char** argv, int* exit_code);

 private:
  std::unique_ptr<CLI::App> owned_;
};

// Refuses what an unset shell variable leaves of a file's name.
std::string NotEmpty(const std::string& text);

// Accepts a name under which a PNG may be written: one that ends in .png or has no ending.
std::string PngName(const std::string& path);

}  // namespace common

#endif  // ZY_COMMON_COMMAND_LINE_H_
