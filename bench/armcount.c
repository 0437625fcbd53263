// SPDX-License-Identifier: MIT
// Counts the guest instructions of a program that qemu-user runs (repeatable, whatever the machine is doing).
// Build:  cc -shared -fPIC -O2 -o armcount.so armcount.c
// Run:    qemu-arm -L SYSROOT -plugin ./armcount.so -d plugin PROGRAM ...      prints "instructions: N" on standard error
// Only the few entry points of QEMU's plugin interface (version 1, qemu 5 and later) that it needs are declared here.
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <stddef.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
typedef struct qemu_info_t qemu_info_t;
enum { QEMU_PLUGIN_INLINE_ADD_U64 = 0 };
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, void (*cb)(qemu_plugin_id_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, int op, void* ptr, uint64_t imm);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*cb)(qemu_plugin_id_t, void*), void* userdata);
void qemu_plugin_outs(const char* string);

int qemu_plugin_version = 1;
static uint64_t count;

static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb* tb)
{
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &count, qemu_plugin_tb_n_insns(tb));
}

static void ended(qemu_plugin_id_t id, void* unused)
{
    char line[64];
    (void)id;
    (void)unused;
    snprintf(line, sizeof line, "instructions: %" PRIu64 "\n", count);
    qemu_plugin_outs(line);
}

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv)
{
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
