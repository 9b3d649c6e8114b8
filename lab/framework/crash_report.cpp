// SPDX-License-Identifier: Apache-2.0
#include "framework/crash_report.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "framework/lent_bytes.h"

namespace framework {
namespace {

CrashReport* g_report = nullptr;

void* ProgramCounter(const void* context) {
  const auto& registers = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
  return reinterpret_cast<void*>(registers.gregs[REG_RIP]);
#elif defined(__aarch64__)
  return reinterpret_cast<void*>(registers.pc);
#else
  return registers, nullptr;
#endif
}

// Stores the frames below the handler's own, the crashed one first.
void NoteFrames(void* crashed) {
  void* frames[32] = {};
  void** const end = frames + backtrace(frames, static_cast<int>(std::size(frames)));
  void** frame = std::find(frames, end, crashed);
  if (frame == end) *(frame = frames) = crashed;  // the stack could not be unwound
  CrashReport& report = *g_report;
  for (; frame != end && report.frame_count < std::size(report.frames); ++frame) {
    Dl_info info = {};
    CrashReport::Place& place = report.frames[report.frame_count];
    if (dladdr(*frame, &info) == 0) continue;
    std::snprintf(place.library, sizeof(place.library), "%s", info.dli_fname);
    place.offset =
        static_cast<uint64_t>(static_cast<char*>(*frame) - static_cast<char*>(info.dli_fbase));
    ++report.frame_count;
  }
}

// Runs once. The signal then recurs, or its sender continues, and it ends the process.
void OnCrash(int signal, siginfo_t* info, void* context) {
  ::signal(SIGALRM, SIG_DFL);
  alarm(2);  // in case the process is too damaged for the rest
  char where[256] = "";
  if (signal == SIGSEGV || signal == SIGBUS) {
    const int length = std::snprintf(where, sizeof(where), " at %p", info->si_addr);
    LentBytes::Describe(info->si_addr, where + length, sizeof(where) - static_cast<size_t>(length));
  }
  std::snprintf(g_report->text, sizeof(g_report->text), "crashed (%s)%s", strsignal(signal), where);
  g_report->has_crashed = true;
  NoteFrames(ProgramCounter(context));
}

// Returns a record of a library's file; zero beyond its end.
template <typename Record>
Record At(const std::string& bytes, uint64_t offset) {
  Record record = {};
  if (offset < bytes.size()) {
    std::memcpy(&record, bytes.data() + offset, std::min(sizeof(record), bytes.size() - offset));
  }
  return record;
}

std::string Offset(uint64_t offset) {
  char text[32];
  std::snprintf(text, sizeof(text), "+0x%" PRIx64, offset);
  return text;
}

std::string Demangled(const std::string& name) {
  char* const text = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, nullptr);
  const std::string demangled = text != nullptr ? text : name;
  std::free(text);
  return demangled;
}

// Returns " (function+0x12)" from a library's symbol tables, "" when it has none there.
std::string FindSymbol(const std::string& file, uint64_t offset) {
  const auto header = At<ElfW(Ehdr)>(file, 0);
  const auto section = [&](uint64_t index) {
    return At<ElfW(Shdr)>(file, header.e_shoff + index * sizeof(ElfW(Shdr)));
  };
  for (uint64_t i = 0; i < header.e_shnum; ++i) {
    const ElfW(Shdr) table = section(i);
    if (table.sh_type != SHT_SYMTAB && table.sh_type != SHT_DYNSYM) continue;
    const uint64_t end = table.sh_offset + std::min<uint64_t>(table.sh_size, file.size());
    for (uint64_t at = table.sh_offset; at < end; at += sizeof(ElfW(Sym))) {
      const auto symbol = At<ElfW(Sym)>(file, at);
      const uint64_t inside = offset - symbol.st_value;
      if (ELF64_ST_TYPE(symbol.st_info) != STT_FUNC || inside >= symbol.st_size) continue;
      const uint64_t name = section(table.sh_link).sh_offset + symbol.st_name;
      return " (" + Demangled(name < file.size() ? file.c_str() + name : "") + Offset(inside) + ")";
    }
  }
  return "";
}

}  // namespace

void CatchCrashes(void (*handler)(int, siginfo_t*, void*), bool spares_others) {
  static char stack[1 << 16];
  const stack_t own = {stack, 0, sizeof(stack)};
  sigaltstack(&own, nullptr);
  struct sigaction action = {}, old = {};
  action.sa_sigaction = handler;
  action.sa_flags = static_cast<int>(SA_SIGINFO | SA_ONSTACK | SA_RESETHAND);
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGSYS}) {
    sigaction(signal, nullptr, &old);
    if (!spares_others || old.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
  }
}

void InstallCrashReport(CrashReport* report) {
  g_report = report;
  void* frame = nullptr;
  backtrace(&frame, 1);  // loads its library now
  CatchCrashes(OnCrash, false);
}

std::string DescribeFrames(const CrashReport& report) {
  std::string lines;
  for (uint32_t i = 0; i < report.frame_count; ++i) {
    const std::string library = report.frames[i].library;
    const uint64_t offset = report.frames[i].offset;
    std::ifstream stream(library, std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(stream), {}};
    const uint64_t call = offset - (i == 0 ? 0 : 1);  // a return address may begin the next symbol
    lines +=
        library.substr(library.rfind('/') + 1) + Offset(offset) + FindSymbol(file, call) + "\n";
  }
  return lines;
}

}  // namespace framework
