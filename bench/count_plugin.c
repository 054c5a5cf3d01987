/* A plugin for qemu's user mode: prints for every block of code that the program executed its address, how many
 * instructions it has, and how often it was executed. The few declarations are those of qemu-plugin.h, version 1, which
 * Debian does not package. */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

struct qemu_plugin_tb;
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
uint64_t qemu_plugin_tb_vaddr(const struct qemu_plugin_tb* block);
enum { ADD_U64 };
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, void (*callback)(uint64_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation, void* counter,
                                              uint64_t value);
void qemu_plugin_register_atexit_cb(uint64_t id, void (*callback)(uint64_t, void*), void* data);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;

enum { MOST_BLOCKS = 1 << 18 }; /* counted where they are, so they must not move */
static struct { uint64_t address, instructions, executed; } blocks[MOST_BLOCKS];
static size_t count;

static void on_translation(uint64_t id, struct qemu_plugin_tb* block) {
  (void)id;
  if (count == MOST_BLOCKS) abort();
  blocks[count].address = qemu_plugin_tb_vaddr(block);
  blocks[count].instructions = qemu_plugin_tb_n_insns(block);
  qemu_plugin_register_vcpu_tb_exec_inline(block, ADD_U64, &blocks[count++].executed, 1);
}
static void on_exit_of_program(uint64_t id, void* data) {
  (void)id, (void)data;
  for (size_t i = 0; i < count; ++i)
    fprintf(stderr, "executed %" PRIx64 " %" PRIu64 " %" PRIu64 "\n", blocks[i].address,
            blocks[i].instructions, blocks[i].executed);
}

EXPORTED int qemu_plugin_install(uint64_t id, const void* info, int argc, char** argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
  qemu_plugin_register_atexit_cb(id, on_exit_of_program, NULL);
  return 0;
}
