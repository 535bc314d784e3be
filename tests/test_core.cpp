// The frame: allocation through the hooks, the vector kernels at their thresholds, the sort and
// the version record.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include "test_support.h"

namespace {

struct HookLog {
    int mallocCalls = 0, freeCalls = 0;
    size_t lastSize = 0;
    void* lastBlock = nullptr;
    void* lastFreed = nullptr;
} g_log;

void* counting_malloc(size_t size)
{
    ++g_log.mallocCalls;
    g_log.lastSize = size;
    g_log.lastBlock = std::malloc(size);
    return g_log.lastBlock;
}

void counting_free(void* p)
{
    ++g_log.freeCalls;
    g_log.lastFreed = p;
    std::free(p);
}

TEST(Memory, AllocationGoesThroughTheHooksWithTheAlignedLayout)
{
    zebtest::HookSwap swap(counting_malloc, counting_free);
    for (int len : {1, 2, 31, 32, 33, 100, 4096, 1 << 20}) {
        g_log = HookLog();
        Zeb8u* p = zebsMalloc_8u(len);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(g_log.mallocCalls, 1);
        EXPECT_EQ(g_log.lastSize, (size_t)len + 36);
        EXPECT_EQ((uintptr_t)p % 32, 0u);
        uintptr_t raw = (uintptr_t)g_log.lastBlock;
        EXPECT_GE((uintptr_t)p, raw + 4);
        EXPECT_LE((uintptr_t)p + len, raw + len + 36);
        memset(p, 0xA5, (size_t)len); // the whole block is usable (ASan checks the bounds)
        zebsFree(p);
        EXPECT_EQ(g_log.freeCalls, 1);
        EXPECT_EQ(g_log.lastFreed, g_log.lastBlock);
    }
}

TEST(Memory, NoHookCallForEmptyRequestsOrNullAndAFailingHookGivesNull)
{
    zebtest::HookSwap swap(counting_malloc, counting_free);
    g_log = HookLog();
    EXPECT_EQ(zebsMalloc_8u(0), nullptr);
    EXPECT_EQ(zebsMalloc_8u(-5), nullptr);
    zebsFree(nullptr);
    EXPECT_EQ(g_log.mallocCalls, 0);
    EXPECT_EQ(g_log.freeCalls, 0);
    zebtest::HookSwap failing(zebtest::failing_malloc, counting_free);
    EXPECT_EQ(zebsMalloc_8u(64), nullptr);
}

TEST(Memory, HooksStartAsTheCLibrary)
{
    EXPECT_EQ(i_malloc, &malloc);
    EXPECT_EQ(i_calloc, &calloc);
    EXPECT_EQ(i_realloc, &realloc);
    EXPECT_EQ(i_free, &free);
    EXPECT_EQ(i_version, 1);
    EXPECT_EQ(i_min_version, 0);
}

TEST(Version, RecordIsExact)
{
    const ZebLibraryVersion* v = zebdcGetLibVersion();
    ASSERT_TRUE(v != nullptr && v == zebdcGetLibVersion());
    EXPECT_TRUE(v->major == 5 && v->minor == 2 && v->majorBuild == 108 && v->build == 321);
    EXPECT_EQ(0, memcmp(v->targetCpu, "a6\0\0", 4));
    EXPECT_STREQ(v->Name, "libzebdca6.so.5.2");
    EXPECT_STREQ(v->Version, "5.2");
    EXPECT_STREQ(v->BuildDate, "Jul 11 2007");
}

enum Kernel { kCopy, kSet, kZero, kSet16 };
const size_t kGuard = 64;

// Runs one kernel over len elements at dst + da (from src + sa for the copy) and checks the
// result and the guard bytes around it against memcpy/memset.
void expect_kernel(Kernel kernel, int len, size_t sa, size_t da, const std::vector<Zeb8u>& src,
                   std::vector<Zeb8u>& dst)
{
    std::fill(dst.begin(), dst.end(), 0x5A);
    std::vector<Zeb8u> want = dst;
    Zeb8u* out = &dst[kGuard + da];
    ZebStatus status = zebStsError;
    switch (kernel) {
    case kCopy:
        memcpy(&want[kGuard + da], &src[sa], (size_t)len);
        status = zebsCopy_8u(&src[sa], out, len);
        break;
    case kSet:
        memset(&want[kGuard + da], 0xC3, (size_t)len);
        status = zebsSet_8u(0xC3, out, len);
        break;
    case kZero:
        memset(&want[kGuard + da], 0, (size_t)len);
        status = zebsZero_8u(out, len);
        break;
    case kSet16:
        for (int i = 0; i < 2 * len; ++i) // little-endian
            want[kGuard + da + i] = i % 2 ? 0xBE : 0xEF;
        status = zebsSet_16s((Zeb16s)0xBEEF, (Zeb16s*)(void*)out, len);
        break;
    }
    ASSERT_EQ(status, zebStsOk);
    ASSERT_TRUE(dst == want) << "kernel " << kernel << " len " << len << " src+" << sa << " dst+"
                             << da;
}

// Short lengths take the kernels' head and tail pieces (overlapping pieces of 4..32 bytes, whose
// pattern phase depends on the offset): every length at every alignment of both sides.
TEST(Vector, EveryShortLengthAtEveryAlignmentMatchesMemcpyAndMemset)
{
    const int kMaxLen = 300;
    auto src = zebtest::random_bytes(kMaxLen + 32, 256, 11);
    std::vector<Zeb8u> dst(2 * kMaxLen + 32 + 2 * kGuard);
    for (int len = 1; len <= kMaxLen; ++len)
        for (size_t da = 0; da < 32; ++da) {
            for (size_t sa = 0; sa < 32; ++sa)
                expect_kernel(kCopy, len, sa, da, src, dst);
            for (Kernel fill : {kSet, kZero, kSet16})
                expect_kernel(fill, len, 0, da, src, dst);
        }
}

// Lengths on both sides of every kernel switch (8192/16384/20480 bytes, 10240 elements), plus
// the prefetching copy's page loop and tails, at every alignment.
TEST(Vector, LengthsAroundTheKernelSwitchesAtEveryAlignment)
{
    const int kCopyLengths[] = {8191, 8192, 8193, 16383, 16384, 16385, 20479, 20480, 20481,
                                28672 + 4095 + 13};
    const int kFillLengths[] = {20479, 20480, 20481, 40000 + 7};
    const int kSet16Lengths[] = {10239, 10240, 10241, 20000 + 3};
    auto src = zebtest::random_bytes(40000 + 2 * kGuard, 256, 7);
    std::vector<Zeb8u> dst(41000 + 2 * kGuard);
    for (size_t da = 0; da < 32; ++da) {
        for (int len : kCopyLengths)
            for (size_t sa = 0; sa < 32; ++sa)
                expect_kernel(kCopy, len, sa, da, src, dst);
        for (int len : kFillLengths) {
            expect_kernel(kSet, len, 0, da, src, dst);
            expect_kernel(kZero, len, 0, da, src, dst);
        }
        for (int len : kSet16Lengths)
            expect_kernel(kSet16, len, 0, da, src, dst);
    }
}

TEST(Vector, MoveHandlesOverlapBothWays)
{
    auto base = zebtest::random_bytes(70000, 256, 3);
    for (int len : {1, 15, 64, 8192, 20481, 60000}) {
        for (int shift : {-4097, -17, -1, 1, 5, 4096}) {
            std::vector<Zeb8u> buf = base, want = base;
            size_t from = 5000, to = (size_t)(5000 + shift);
            memmove(&want[to], &want[from], (size_t)len);
            ASSERT_EQ(zebsMove_8u(&buf[from], &buf[to], len), zebStsOk);
            ASSERT_TRUE(buf == want) << "len " << len << " shift " << shift;
        }
    }
}

TEST(Vector, PointersAreCheckedBeforeLengthsAndFailuresWriteNothing)
{
    Zeb8u buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const Zeb8u before[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(zebsCopy_8u(nullptr, buf, 0), zebStsNullPtr);
    EXPECT_EQ(zebsCopy_8u(buf, nullptr, 4), zebStsNullPtr);
    EXPECT_EQ(zebsCopy_8u(buf + 4, buf, 0), zebStsBadSize);
    EXPECT_EQ(zebsCopy_8u(buf + 4, buf, -3), zebStsBadSize);
    EXPECT_EQ(zebsMove_8u(nullptr, buf, -1), zebStsNullPtr);
    EXPECT_EQ(zebsMove_8u(buf, buf + 1, 0), zebStsBadSize);
    EXPECT_EQ(zebsSet_8u(9, nullptr, 0), zebStsNullPtr);
    EXPECT_EQ(zebsSet_8u(9, buf, 0), zebStsBadSize);
    EXPECT_EQ(zebsSet_16s(9, nullptr, -1), zebStsNullPtr);
    EXPECT_EQ(zebsSet_16s(9, (Zeb16s*)(void*)buf, -1), zebStsBadSize);
    EXPECT_EQ(zebsZero_8u(nullptr, 0), zebStsNullPtr);
    EXPECT_EQ(zebsZero_8u(buf, INT_MIN), zebStsBadSize);
    EXPECT_EQ(0, memcmp(buf, before, 8));
    Zeb32s values[2] = {2, 1};
    EXPECT_EQ(zebsSortAscend_32s_I(nullptr, 0), zebStsNullPtr);
    EXPECT_EQ(zebsSortAscend_32s_I(values, 0), zebStsBadSize);
    EXPECT_EQ(values[0], 2);
}

// Every pattern at every size from 1 to 40 (the small-sort cutoffs) and at three large sizes.
TEST(Sort, AgreesWithStdSortOnHardPatterns)
{
    std::mt19937 rng(11);
    const std::pair<const char*, std::function<Zeb32s(int, int)>> kPatterns[] = {
        {"random", [&](int, int) { return (Zeb32s)rng(); }},
        {"three values", [&](int, int) { return (Zeb32s)(rng() % 3) - 1; }},
        {"duplicate-heavy", [&](int, int) { return (Zeb32s)(rng() % 17) * 1000003 - INT_MAX / 2; }},
        {"INT_MIN/INT_MAX", [&](int, int) { return (rng() & 1) ? INT_MIN : INT_MAX; }},
        {"all equal", [](int, int) { return 42; }},
        {"sorted", [](int i, int n) { return i - n / 2; }},
        {"reverse", [](int i, int) { return INT_MAX - i; }},
        {"organ pipe", [](int i, int n) { return i < n / 2 ? i : n - i; }}};
    std::vector<int> sizes = {1000, 65537, 300000};
    for (int n = 1; n <= 40; ++n)
        sizes.push_back(n);
    for (int n : sizes)
        for (const auto& pattern : kPatterns) {
            std::vector<Zeb32s> v(n);
            for (int i = 0; i < n; ++i)
                v[i] = pattern.second(i, n);
            std::vector<Zeb32s> want = v;
            std::sort(want.begin(), want.end());
            ASSERT_EQ(zebsSortAscend_32s_I(v.data(), n), zebStsOk);
            ASSERT_TRUE(v == want) << pattern.first << " of " << n;
        }
}

} // namespace

#if defined(__i386__)
// Callers built elsewhere may enter with the 4-byte stack alignment of the old i386 ABI. An
// exported function realigns its stack, so what it calls sees the same alignment whatever the
// caller's: the allocator hook, called from inside zebsMalloc_8u and zebsFree, records the stack
// pointer it runs on.
namespace {

uintptr_t g_hookStack;

void* stack_recording_malloc(size_t size)
{
    __asm__ volatile("mov %%esp, %0" : "=m"(g_hookStack));
    return std::malloc(size);
}

void stack_recording_free(void* p)
{
    __asm__ volatile("mov %%esp, %0" : "=m"(g_hookStack));
    std::free(p);
}

} // namespace

// call_misaligned(fn, arg, misalign): calls fn(arg) with the stack misaligned by misalign bytes
// at the call instruction.
extern "C" uintptr_t call_misaligned(void* fn, uintptr_t arg, uintptr_t misalign);
__asm__(".text\n"
        ".globl call_misaligned\n"
        ".type call_misaligned, @function\n"
        "call_misaligned:\n"
        "  push %ebp\n"
        "  mov %esp, %ebp\n"
        "  and $-16, %esp\n"
        "  sub $12, %esp\n"
        "  sub 16(%ebp), %esp\n"
        "  pushl 12(%ebp)\n"
        "  call *8(%ebp)\n"
        "  mov %ebp, %esp\n"
        "  pop %ebp\n"
        "  ret\n");

TEST(Abi, ExportedFunctionsRealignTheStackOnI386)
{
    zebtest::HookSwap swap(stack_recording_malloc, stack_recording_free);
    Zeb8u* p = zebsMalloc_8u(100);
    ASSERT_NE(p, nullptr);
    uintptr_t alignedMalloc = g_hookStack % 16;
    zebsFree(p);
    uintptr_t alignedFree = g_hookStack % 16;
    for (uintptr_t misalign : {4u, 8u, 12u}) {
        p = (Zeb8u*)call_misaligned((void*)&zebsMalloc_8u, 100, misalign);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(g_hookStack % 16, alignedMalloc) << "zebsMalloc_8u entered with +" << misalign;
        call_misaligned((void*)&zebsFree, (uintptr_t)p, misalign);
        EXPECT_EQ(g_hookStack % 16, alignedFree) << "zebsFree entered with +" << misalign;
    }
}
#endif
