/* The frame of the exception barrier (barrier.cpp).
 *
 *   HRESULT tarv_barrier_enter(HRESULT (*callee)(void* state), void* state)
 *
 * calls callee(state) in a frame whose exception handler, tarv_barrier_handler, is asked about every
 * exception that the frames below leave unhandled (UNW_FLAG_EHANDLER only: it takes no part in
 * unwinds). The handler unwinds to tarv_barrier_landing, which returns E_UNEXPECTED. The state
 * pointer is kept at 32(%rsp) of the frame, where the handler finds it through the establisher
 * frame. */

        .text
        .p2align 4
        .globl  tarv_barrier_enter
        .def    tarv_barrier_enter; .scl 2; .type 32; .endef
        .seh_proc tarv_barrier_enter
tarv_barrier_enter:
        subq    $40, %rsp               /* home area for the callee, the state slot */
        .seh_stackalloc 40
        .seh_endprologue
        .seh_handler tarv_barrier_handler, @except
        movq    %rdx, 32(%rsp)
        movq    %rcx, %rax
        movq    %rdx, %rcx
        callq   *%rax
        nop                             /* keeps the return address out of the epilogue */
.Lreturn:
        addq    $40, %rsp
        ret

        .globl  tarv_barrier_landing
        .def    tarv_barrier_landing; .scl 2; .type 32; .endef
tarv_barrier_landing:
        movl    $0x8000FFFF, %eax       /* E_UNEXPECTED */
        jmp     .Lreturn
        .seh_endproc
