/* A plugin of qemu's user-mode emulation that counts instructions between two marks (count.cpp). It writes the count of
 * each pair of marks on a line of the file that its argument `out=FILE` names, in the order of the program.
 *
 * It declares what it uses of the plugin interface (version 1, qemu 4.2 and later), for which Debian has no package.
 *
 *     gcc -O2 -shared -fPIC counter.c -o counter.so
 *     qemu-ppc -plugin counter.so,out=FILE PROGRAM
 *
 * Whole blocks of translated code are counted as they begin, which costs little; a mark then corrects for its place in
 * the block. For programs of one thread.
 */
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
extern void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t,
                                                  void (*)(qemu_plugin_id_t, struct qemu_plugin_tb*));
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb*, enum qemu_plugin_op, void*,
                                                     uint64_t);
extern void qemu_plugin_register_vcpu_insn_exec_cb(struct qemu_plugin_insn*, void (*)(unsigned, void*),
                                                   enum qemu_plugin_cb_flags, void*);
extern size_t qemu_plugin_tb_n_insns(struct qemu_plugin_tb const*);
extern struct qemu_plugin_insn* qemu_plugin_tb_get_insn(struct qemu_plugin_tb const*, size_t);
extern void const* qemu_plugin_insn_data(struct qemu_plugin_insn const*);

int qemu_plugin_version = 1;

static unsigned char const begin_mark[4] = {0x6D, 0x6B, 0, 0}; /* xoris 11,11,0 */
static unsigned char const end_mark[4] = {0x6D, 0x8C, 0, 0};   /* xoris 12,12,0 */

static uint64_t executed; /* with the whole of the block that runs */
static uint64_t began;
static bool counting;
static FILE* out;

/* `rest` is how many instructions of the block follow the mark. */
static void on_begin(unsigned cpu, void* rest) {
    (void)cpu;
    began = executed - (uintptr_t)rest;
    counting = true;
}

static void on_end(unsigned cpu, void* rest) {
    (void)cpu;
    if (counting) /* but not the mark itself */
        fprintf(out, "%" PRIu64 "\n", executed - (uintptr_t)rest - 1 - began);
    counting = false;
    fflush(out);
}

static void on_translation(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
    (void)id;
    size_t const size = qemu_plugin_tb_n_insns(block);
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &executed, size);
    for (size_t i = 0; i < size; i++) {
        struct qemu_plugin_insn* const instruction = qemu_plugin_tb_get_insn(block, i);
        void const* const code = qemu_plugin_insn_data(instruction);
        void (*mark)(unsigned, void*) = NULL;
        if (memcmp(code, begin_mark, sizeof begin_mark) == 0)
            mark = on_begin;
        else if (memcmp(code, end_mark, sizeof end_mark) == 0)
            mark = on_end;
        if (mark != NULL)
            qemu_plugin_register_vcpu_insn_exec_cb(instruction, mark, QEMU_PLUGIN_CB_NO_REGS,
                                                   (void*)(uintptr_t)(size - 1 - i));
    }
}

int qemu_plugin_install(qemu_plugin_id_t id, void const* target, int count, char** arguments) {
    (void)target;
    out = stderr;
    for (int i = 0; i < count; i++)
        if (strncmp(arguments[i], "out=", 4) == 0 && (out = fopen(arguments[i] + 4, "w")) == NULL)
            return 1;
    qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
    return 0;
}
