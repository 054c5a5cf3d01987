/* A plugin for qemu's user mode: prints how many instructions the program executed. The few declarations are those of
 * qemu-plugin.h, version 1, which Debian does not package. */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

struct qemu_plugin_tb;
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, void (*callback)(uint64_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb* block, void (*callback)(unsigned, void*),
                                          int flags, void* data);
void qemu_plugin_register_atexit_cb(uint64_t id, void (*callback)(uint64_t, void*), void* data);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;

static uint64_t executed;

static void on_execution(unsigned cpu, void* instructions) {
  (void)cpu;
  executed += (uintptr_t)instructions;
}
static void on_translation(uint64_t id, struct qemu_plugin_tb* block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_cb(block, on_execution, 0,
                                       (void*)(uintptr_t)qemu_plugin_tb_n_insns(block));
}
static void on_exit_of_program(uint64_t id, void* data) {
  (void)id, (void)data;
  fprintf(stderr, "executed %" PRIu64 "\n", executed);
}

EXPORTED int qemu_plugin_install(uint64_t id, const void* info, int argc, char** argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
  qemu_plugin_register_atexit_cb(id, on_exit_of_program, NULL);
  return 0;
}
