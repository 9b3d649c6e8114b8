// SPDX-License-Identifier: Apache-2.0
// The libraries that a device offers to a node, by the names that a node needs.
#ifndef ZY_FRAMEWORK_DEVICE_H_
#define ZY_FRAMEWORK_DEVICE_H_

#include <string>
#include <vector>

#include "common/failure.h"

namespace framework {

// A folder of libraries. They stay loaded, with global symbols, until the process ends, and the
// node's dependencies resolve to them. One device per process; one thread at a time.
class Device {
 public:
  // Opens each library from the first folder that has it, or else the fake that came with this
  // program. Fails on a folder that has none of them, and on a library that cannot be loaded or has
  // another soname.
  common::Failure Open(const std::vector<std::string>& folders);

  // Finds a function that a fake offers beyond the device's interface. Fails (usage) when the
  // loaded library lacks that name.
  template <typename Function>
  common::Failure FindControl(const std::string& library, const char* name,
                              Function** control) const {
    void* found = nullptr;
    common::Failure failure = FindSymbol(library, name, &found);
    *control = reinterpret_cast<Function*>(found);
    return failure;
  }

  struct Library {
    std::string name;  // "liblog.so"
    std::string path;
    void* handle;
  };
  // Returns the opened libraries in order.
  const std::vector<Library>& Libraries() const { return libraries_; }

 private:
  common::Failure OpenLibrary(const std::string& name, const std::string& path);
  common::Failure FindSymbol(const std::string& library, const char* name, void** symbol) const;

  std::vector<Library> libraries_;
};

// Returns the identifier that the linker gave a library, as hexadecimal digits; empty without one.
std::string BuildIdOf(const std::string& path);

}  // namespace framework

#endif  // ZY_FRAMEWORK_DEVICE_H_
