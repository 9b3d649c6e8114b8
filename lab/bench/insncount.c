// SPDX-License-Identifier: Apache-2.0
// A plugin of qemu's user-mode emulation that counts the instructions of each thread between the
// marks of bench/marks.h. A virtual processor is a thread there and has its own counter.
// usage: qemu-aarch64 -plugin insncount.so,out=FILE PROGRAM
// FILE gets one line per region, in the order of their ends: "PROCESSOR WHOLE APART", the
// instructions of the region, and those between insncount_apart and insncount_rejoin.
#include <inttypes.h>
#include <pthread.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// The used part of the emulator's plugin interface, version 1: no package has its header.
typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };
typedef void (*qemu_plugin_vcpu_udata_cb_t)(unsigned processor, void* data);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t id,
                                                              struct qemu_plugin_tb* block));
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb* block,
                                          qemu_plugin_vcpu_udata_cb_t executed,
                                          enum qemu_plugin_cb_flags flags, void* data);
void qemu_plugin_register_vcpu_insn_exec_cb(struct qemu_plugin_insn* instruction,
                                            qemu_plugin_vcpu_udata_cb_t executed,
                                            enum qemu_plugin_cb_flags flags, void* data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb* block, size_t index);
const char* qemu_plugin_insn_symbol(const struct qemu_plugin_insn* instruction);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;

#define MAX_PROCESSORS 256

// Written by its own thread only, on its own cache lines.
struct processor {
  _Alignas(64) uint64_t executed;
  uint64_t begin;  // `executed` at the region's begin
  uint64_t aside;  // `executed` at insncount_apart
  uint64_t apart;
  bool in_region;
};

static struct processor g_processors[MAX_PROCESSORS];
static FILE* g_out;
static pthread_mutex_t g_out_lock = PTHREAD_MUTEX_INITIALIZER;

static struct processor* processor_at(unsigned index) {
  if (index < MAX_PROCESSORS) return &g_processors[index];
  fputs("insncount: too many threads\n", stderr);
  abort();
}

// Counts a block on entry, before the marks in it are noticed.
static void on_block(unsigned index, void* instructions) {
  processor_at(index)->executed += (uintptr_t)instructions;
}

static void on_begin(unsigned index, void* instructions) {
  (void)instructions;
  struct processor* processor = processor_at(index);
  processor->begin = processor->executed;
  processor->apart = 0;
  processor->in_region = true;
}

static void on_apart(unsigned index, void* instructions) {
  (void)instructions;
  struct processor* processor = processor_at(index);
  processor->aside = processor->executed;
}

// Excludes the instructions of the mark itself from every region.
static void on_rejoin(unsigned index, void* instructions) {
  struct processor* processor = processor_at(index);
  processor->apart += processor->executed - (uintptr_t)instructions - processor->aside;
}

static void on_end(unsigned index, void* instructions) {
  struct processor* processor = processor_at(index);
  if (!processor->in_region) return;
  processor->in_region = false;
  const uint64_t whole = processor->executed - (uintptr_t)instructions - processor->begin;
  pthread_mutex_lock(&g_out_lock);
  fprintf(g_out, "%u %" PRIu64 " %" PRIu64 "\n", index, whole, processor->apart);
  fflush(g_out);
  pthread_mutex_unlock(&g_out_lock);
}

static const struct {
  const char* symbol;
  qemu_plugin_vcpu_udata_cb_t reached;
} kMarks[] = {{"insncount_begin", on_begin},
              {"insncount_end", on_end},
              {"insncount_apart", on_apart},
              {"insncount_rejoin", on_rejoin}};

// Finds marks: a mark is called, so it begins a block.
static void on_translation(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  void* instructions = (void*)(uintptr_t)qemu_plugin_tb_n_insns(block);
  struct qemu_plugin_insn* first = qemu_plugin_tb_get_insn(block, 0);
  const char* symbol = qemu_plugin_insn_symbol(first);
  qemu_plugin_register_vcpu_tb_exec_cb(block, on_block, QEMU_PLUGIN_CB_NO_REGS, instructions);
  for (size_t i = 0; symbol != NULL && i < sizeof(kMarks) / sizeof(*kMarks); ++i) {
    if (strcmp(symbol, kMarks[i].symbol) != 0) continue;
    qemu_plugin_register_vcpu_insn_exec_cb(first, kMarks[i].reached, QEMU_PLUGIN_CB_NO_REGS,
                                           instructions);
  }
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv) {
  (void)info;
  g_out = stderr;
  for (int i = 0; i < argc; ++i) {
    if (strncmp(argv[i], "out=", 4) == 0) g_out = fopen(argv[i] + 4, "w");
  }
  if (g_out == NULL) {
    perror("insncount");
    return -1;
  }
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
  return 0;
}
