// A structured-exception guard for GCC, which has no __try/__except. The guarded call runs inside
// a frame that carries its own exception handler, so the handler sees exactly what a __except at
// that frame would: faults that no inner frame handled. When the frame's filter takes the fault,
// it unwinds the stack to that frame (inner __finally blocks of system code run; GCC's C++ frames
// ignore foreign exceptions) and the frame returns the exception code; otherwise the search goes
// on outside. C++ exceptions (GCC's own codes) are passed on.
#include <windows.h>

#include <cstddef>

#include "actions/FaultGuard.h"

namespace Tessarix {
namespace {

// GCC raises its C++ exceptions and unwinds with these codes ("GCC" in the low bytes).
constexpr DWORD kGccMagic = ('G' << 16) | ('C' << 8) | 'C';
bool IsGccUnwinding(DWORD code) {
    return (code & 0x00FFFFFF) == kGccMagic && (code & 0xF0000000) == 0x20000000;
}

constexpr std::uint64_t kFaulted = std::uint64_t{1} << 32;

std::optional<std::uint32_t> Outcome(std::uint64_t result) {
    if (!(result & kFaulted))
        return std::nullopt;
    return static_cast<std::uint32_t>(result);
}

} // namespace
} // namespace Tessarix

#if defined(__x86_64__)

// x64: handlers are found through the unwind information of each frame. TxGuardedCall's names
// TxFaultGuardHandler and keeps the filter in its frame, kFilterSlot bytes above the establisher
// frame (the stack pointer after its prologue, above the callee's 32-byte home area); after the
// unwind, control lands on TxFaultGuardLanding with the frame's stack and RAX holding the value
// handed to RtlUnwindEx.
extern "C" {
std::uint64_t TxGuardedCall(Tessarix::GuardedFunction fn, void* context, Tessarix::FaultFilter takes);
EXCEPTION_DISPOSITION TxFaultGuardHandler(EXCEPTION_RECORD* record, void* establisherFrame, CONTEXT* context,
                                          DISPATCHER_CONTEXT* dispatcher);
extern char TxFaultGuardLanding[];
}

asm(R"(
    .text
    .p2align 4
    .globl TxGuardedCall
    .def TxGuardedCall; .scl 2; .type 32; .endef
    .seh_proc TxGuardedCall
TxGuardedCall:
    pushq %rbp
    .seh_pushreg %rbp
    subq $48, %rsp
    .seh_stackalloc 48
    .seh_endprologue
    .seh_handler TxFaultGuardHandler, @except
    movq %r8, 32(%rsp)
    movq %rcx, %rax
    movq %rdx, %rcx
    callq *%rax
    xorl %eax, %eax
    .globl TxFaultGuardLanding
TxFaultGuardLanding:
    addq $48, %rsp
    popq %rbp
    retq
    .seh_endproc
)");

extern "C" EXCEPTION_DISPOSITION TxFaultGuardHandler(EXCEPTION_RECORD* record, void* establisherFrame,
                                                     CONTEXT* context, DISPATCHER_CONTEXT* dispatcher) {
    if (record->ExceptionFlags & EXCEPTION_UNWIND)
        return ExceptionContinueSearch;
    if (Tessarix::IsGccUnwinding(record->ExceptionCode))
        return ExceptionContinueSearch;
    constexpr std::size_t kFilterSlot = 32;
    const auto takes =
        *reinterpret_cast<Tessarix::FaultFilter*>(static_cast<char*>(establisherFrame) + kFilterSlot);
    if (!takes(record->ExceptionCode))
        return ExceptionContinueSearch;
    const std::uint64_t result = Tessarix::kFaulted | record->ExceptionCode;
    ::RtlUnwindEx(establisherFrame, TxFaultGuardLanding, record, reinterpret_cast<void*>(result), context,
                  dispatcher->HistoryTable);
    return ExceptionContinueSearch; // not reached: the unwind continues at the landing
}

namespace Tessarix {
std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context, FaultFilter takes) {
    return Outcome(TxGuardedCall(fn, context, takes));
}
} // namespace Tessarix

#elif defined(__i386__)

// x86: handlers are registered at run time in the thread's chain at FS:[0]. The record lives on
// the guarded call's stack and carries the jump buffer for the way back. GCC's DWARF unwinder
// never walks this chain, so C++ exceptions do not meet the handler at all.
namespace Tessarix {
namespace {

struct GuardRecord {
    GuardRecord* next;
    void* handler;
    void* resume[5]; // __builtin_setjmp buffer
    std::uint32_t code;
    FaultFilter takes;
};

// RtlUnwind on x86 does not keep EBX, ESI and EDI, so the call saves them itself. The operands
// are registers: a stack-relative operand would move with the pushes.
void UnwindChainTo(GuardRecord* record, EXCEPTION_RECORD* exception) {
    asm volatile("pushl %%ebx\n\t"
                 "pushl %%esi\n\t"
                 "pushl %%edi\n\t"
                 "pushl $0\n\t"
                 "pushl %1\n\t"
                 "pushl $0\n\t"
                 "pushl %0\n\t"
                 "call _RtlUnwind@16\n\t"
                 "popl %%edi\n\t"
                 "popl %%esi\n\t"
                 "popl %%ebx"
                 :
                 : "r"(record), "r"(exception)
                 : "eax", "ecx", "edx", "memory", "cc");
}

extern "C" EXCEPTION_DISPOSITION __cdecl TxFaultGuardHandler(EXCEPTION_RECORD* exception, void* frame,
                                                             CONTEXT*, void*) {
    if (exception->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND))
        return ExceptionContinueSearch;
    if (IsGccUnwinding(exception->ExceptionCode))
        return ExceptionContinueSearch;
    auto* record = static_cast<GuardRecord*>(frame);
    if (!record->takes(exception->ExceptionCode))
        return ExceptionContinueSearch;
    record->code = exception->ExceptionCode;
    UnwindChainTo(record, exception);
    __builtin_longjmp(record->resume, 1);
}

GuardRecord* ChainHead() {
    GuardRecord* head;
    asm volatile("movl %%fs:0, %0" : "=r"(head));
    return head;
}
void SetChainHead(GuardRecord* head) {
    asm volatile("movl %0, %%fs:0" : : "r"(head) : "memory");
}

} // namespace

__attribute__((noinline)) std::optional<std::uint32_t> RunFaultGuarded(GuardedFunction fn, void* context,
                                                                       FaultFilter takes) {
    GuardRecord record{};
    record.handler = reinterpret_cast<void*>(&TxFaultGuardHandler);
    record.takes = takes;
    record.next = ChainHead();
    SetChainHead(&record);
    if (__builtin_setjmp(record.resume) == 0) {
        fn(context);
        SetChainHead(record.next);
        return std::nullopt;
    }
    SetChainHead(record.next);
    return Outcome(kFaulted | record.code);
}

} // namespace Tessarix

#else
#error "The fault guard supports x86_64 and i686 Windows."
#endif
