/*
 * QEMU plugin that counts the instructions a program runs, and writes the number to standard error at its end.
 *
 * The few functions of QEMU's plugin interface that this takes (version 1, stable since QEMU 4.2) are declared here:
 * their header is not packaged.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

typedef uint64_t plugin_id;
struct qemu_plugin_tb; /* a translated block: instructions without a branch between them */
enum { INLINE_ADD_U64 = 0 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, void (*translated)(plugin_id, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, int operation, void* counter, uint64_t addend);
void qemu_plugin_register_atexit_cb(plugin_id id, void (*ended)(plugin_id, void*), void* argument);

EXPORTED int qemu_plugin_version = 1;

static uint64_t instructions;

static void count_block(plugin_id id, struct qemu_plugin_tb* tb)
{
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(tb, INLINE_ADD_U64, &instructions, qemu_plugin_tb_n_insns(tb));
}

static void report(plugin_id id, void* argument)
{
    (void)id;
    (void)argument;
    fprintf(stderr, "instructions %llu\n", (unsigned long long)instructions);
}

EXPORTED int qemu_plugin_install(plugin_id id, const void* machine, int argc, char** argv);
int qemu_plugin_install(plugin_id id, const void* machine, int argc, char** argv)
{
    (void)machine;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_atexit_cb(id, report, NULL);
    return 0;
}
