// SPDX-License-Identifier: Apache-2.0
#include "framework/device.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/program.h"

namespace framework {
namespace {

namespace fs = std::filesystem;

// In loading order: the models may need the others.
constexpr const char* kLibraries[] = {
    "liblog.so",          "libcutils.so",         "libutils.so",
    "libchinodeutils.so", "libQVFD_AgeGender.so", "libFaceGrade.so"};

bool Has(const fs::path& folder, const char* name) {
  std::error_code none;
  return fs::exists(folder / name, none);
}

// Returns the fakes' folder: where this program was built, else where it was installed.
fs::path FakesFolder() {
  const fs::path folder = common::ProgramFolder();
  return folder / (Has(folder / "device", kLibraries[0]) ? "device" : ZY_INSTALLED_DEVICE_FOLDER);
}

// Returns the soname of an open library; empty without one.
std::string SonameOf(void* library) {
  link_map* map = nullptr;
  if (dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) return "";
  const char* strings = nullptr;
  ElfW(Xword) offset = 0;
  for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_STRTAB) strings = reinterpret_cast<const char*>(entry->d_un.d_ptr);
    if (entry->d_tag == DT_SONAME) offset = entry->d_un.d_val;
  }
  return strings != nullptr && offset != 0 ? strings + offset : "";
}

}  // namespace

common::Failure Device::Open(const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) {
    if (std::none_of(std::begin(kLibraries), std::end(kLibraries),
                     [&](const char* name) { return Has(folder, name); })) {
      return common::Fail(folder + ": has none of the device's libraries");
    }
  }
  for (const char* name : kLibraries) {
    const auto folder = std::find_if(folders.begin(), folders.end(),
                                     [&](const std::string& f) { return Has(f, name); });
    const fs::path path = (folder != folders.end() ? fs::path(*folder) : FakesFolder()) / name;
    if (common::Failure failure = OpenLibrary(name, path)) return failure;
  }
  return std::nullopt;
}

common::Failure Device::OpenLibrary(const std::string& name, const std::string& path) {
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr) {
    const std::string message = dlerror();
    const bool names_file = message.find(path) != std::string::npos;
    return common::Fail(names_file ? message : path + ": " + message);
  }
  libraries_.push_back({name, path, handle});
  // The node will ask for that name; an earlier library of that name would be used instead.
  if (SonameOf(handle) == name && dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD) == handle) {
    return std::nullopt;
  }
  return common::Fail(path + ": its soname is not " + name);
}

common::Failure Device::FindSymbol(const std::string& library, const char* name,
                                   void** symbol) const {
  const auto found = std::find_if(libraries_.begin(), libraries_.end(),
                                  [&](const Library& other) { return other.name == library; });
  if (found == libraries_.end()) return common::FailUsage(library + ": is not open");
  *symbol = dlsym(found->handle, name);
  if (*symbol != nullptr) return std::nullopt;
  return common::FailUsage(found->path + ": has no " + name);
}

std::string BuildIdOf(const std::string& path) {
  std::string bytes(4096, '\0');  // the note lies near the file's start
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  const std::string note("\4\0\0\0\24\0\0\0\3\0\0\0GNU\0", 16);
  const std::size_t at = bytes.find(note);
  std::string text;
  if (at == bytes.npos || bytes.size() - at < note.size() + 20) return text;
  for (const char byte : bytes.substr(at + note.size(), 20)) {
    text += "0123456789abcdef"[byte >> 4 & 15];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

}  // namespace framework
