// SPDX-License-Identifier: BSD-2-Clause

// LD_PRELOAD loads this library before everything else into a program that the harness runs. It
// marks the point at which the loader has finished, makes allocations fail, and records stacks:
// that of a failed allocation, and those of a crash or of a hang.
//
// All records go to a mapped file: system calls may be the ones that fail, and the file is shared
// with the children of forks. Environment:
//
// FAULTS_STATE: the file, of the size of `State`.
//
// FAULTS_ALLOCATION: N makes the N-th allocation after main has begun fail; N+ makes that one and
// all later ones fail.
//
// FAULTS_FROM: parts of the names of files, separated by commas. Only allocations that one of these
// files requests are counted. Allocations that the C and C++ libraries make on behalf of another
// file count as that file's.
//
// FAULTS_WAIT: if set, the process stops until it gets a SIGCONT.
//
// FAULTS_SITES: if set, the file gets, for each allocation, a number that identifies its stack.

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

extern "C"
{
    // NOLINTBEGIN(bugprone-reserved-identifier): glibc's own names.
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void* __libc_memalign(std::size_t, std::size_t);
    // NOLINTEND(bugprone-reserved-identifier)
}

namespace
{

/// The layout of the state file; faults.py reads it.
struct State
{
    std::atomic<std::uint64_t> uiAllocations;
    std::atomic<std::uint64_t> uiFailed;
    std::atomic<std::uint64_t> uiTextLength;
    std::array<char, 65536 - 24> text;
    std::array<std::uint64_t, 1U << 20U> sites;
};

State* s_pState = nullptr;
std::uint64_t s_uiFailAt = 0;
bool s_bLasting = false;
bool s_bSites = false;
std::atomic<bool> s_bInMain{false};
thread_local bool s_bInside = false;

struct Range
{
    std::uintptr_t uiBegin;
    std::uintptr_t uiEnd;
};

// The C and C++ libraries, which allocate on behalf of their callers, and this library.
std::array<Range, 8> s_transparent;
std::size_t s_uiTransparent = 0;
const char* s_szFrom = nullptr;
const char* s_szProgram = "";
// The files that FAULTS_FROM names.
std::array<Range, 8> s_from;
std::size_t s_uiFrom = 0;

template <std::size_t N>
bool isIn(const std::array<Range, N>& in_ranges, std::size_t in_uiCount,
          std::uintptr_t in_uiAddress)
{
    for (std::size_t uiRange = 0; uiRange < in_uiCount; ++uiRange)
        if (in_uiAddress >= in_ranges[uiRange].uiBegin && in_uiAddress < in_ranges[uiRange].uiEnd)
            return true;
    return false;
}

template <std::size_t N>
void add(std::array<Range, N>& out_ranges, std::size_t& inout_uiCount, const Range& in_range)
{
    if (inout_uiCount < N)
        out_ranges[inout_uiCount++] = in_range;
}

bool isAsked(const char* in_szFile)
{
    for (const char* szPart = s_szFrom; szPart != nullptr && *szPart != '\0';)
    {
        const std::size_t uiLength = strcspn(szPart, ",");
        for (const char* szAt = in_szFile; *szAt != '\0'; ++szAt)
            if (strncmp(szAt, szPart, uiLength) == 0)
                return true;
        szPart += uiLength + (szPart[uiLength] == ',' ? 1 : 0);
    }
    return false;
}

int noteImage(dl_phdr_info* in_pInfo, std::size_t, void* in_pOwn)
{
    Range range{UINTPTR_MAX, 0};
    for (int iPart = 0; iPart < in_pInfo->dlpi_phnum; ++iPart)
        if (const ElfW(Phdr)& part = in_pInfo->dlpi_phdr[iPart]; part.p_type == PT_LOAD)
        {
            const std::uintptr_t uiBegin = in_pInfo->dlpi_addr + part.p_vaddr;
            range.uiBegin = uiBegin < range.uiBegin ? uiBegin : range.uiBegin;
            range.uiEnd =
                uiBegin + part.p_memsz > range.uiEnd ? uiBegin + part.p_memsz : range.uiEnd;
        }
    const auto uiOwn = reinterpret_cast<std::uintptr_t>(in_pOwn);
    const char* const szName = in_pInfo->dlpi_name;
    if (strstr(szName, "/libc.so") != nullptr || strstr(szName, "/libstdc++.so") != nullptr ||
        (uiOwn >= range.uiBegin && uiOwn < range.uiEnd))
        add(s_transparent, s_uiTransparent, range);
    else if (isAsked(*szName == '\0' ? s_szProgram : szName))
        add(s_from, s_uiFrom, range);
    return 0;
}

void put(const char* in_szText)
{
    const std::size_t uiLength = strlen(in_szText);
    const std::uint64_t uiAt = s_pState->uiTextLength.fetch_add(uiLength);
    if (uiAt + uiLength < s_pState->text.size())
        memcpy(s_pState->text.data() + uiAt, in_szText, uiLength);
}

void put(std::uint64_t in_uiNumber)
{
    std::array<char, 20> digits{};
    std::size_t uiAt = digits.size() - 1;
    do
        digits[--uiAt] = "0123456789abcdef"[in_uiNumber % 16];
    while ((in_uiNumber /= 16) != 0 && uiAt > 0);
    put(digits.data() + uiAt);
}

/// Writes a line with the given word, and a line for each frame: the file, the offset in it, and
/// the name of the function if the file has it.
void noteStack(const char* in_szWhat)
{
    put(in_szWhat);
    put("\n");
    // The unwinder is not loaded before main.
    if (!s_bInMain)
        return put("  {before main}\n");
    std::array<void*, 64> frames{};
    const int iFrames = backtrace(frames.data(), static_cast<int>(frames.size()));
    // The first frame is this function.
    for (int iFrame = 1; iFrame < iFrames; ++iFrame)
    {
        Dl_info info{};
        // The return address may already belong to the next function.
        const void* const pCall = static_cast<char*>(frames[static_cast<std::size_t>(iFrame)]) - 1;
        if (dladdr(pCall, &info) == 0)
            continue;
        put("  ");
        put(info.dli_fname);
        put(" ");
        put(static_cast<std::uint64_t>(static_cast<const char*>(pCall) -
                                       static_cast<char*>(info.dli_fbase)));
        put(" ");
        put(info.dli_sname == nullptr ? "?" : info.dli_sname);
        put("\n");
    }
}

void onCrash(int in_iSignal)
{
    s_bInside = true;
    noteStack(in_iSignal == SIGUSR2 ? "hang" : "crash");
    s_bInside = false;
}

/// Returns whether an allocation counts: whether the first caller outside the C and C++ libraries
/// is in a file that FAULTS_FROM names, or always without FAULTS_FROM. Sets a hash of the stack
/// (FNV-1a, 64 bits).
bool isCounted(std::uint64_t& out_uiSite)
{
    std::array<void*, 24> frames{};
    const int iFrames = backtrace(frames.data(), static_cast<int>(frames.size()));
    bool bCounted = s_szFrom == nullptr;
    bool bOwner = false;
    out_uiSite = 14695981039346656037U;
    for (int iFrame = 0; iFrame < iFrames; ++iFrame)
    {
        const auto uiAddress =
            reinterpret_cast<std::uintptr_t>(frames[static_cast<std::size_t>(iFrame)]);
        out_uiSite = (out_uiSite ^ uiAddress) * 1099511628211U;
        if (!bOwner && !isIn(s_transparent, s_uiTransparent, uiAddress))
        {
            bOwner = true;
            bCounted = bCounted || isIn(s_from, s_uiFrom, uiAddress);
        }
    }
    return bCounted;
}

bool fails()
{
    if (s_pState == nullptr || s_bInside || !s_bInMain.load(std::memory_order_relaxed))
        return false;
    s_bInside = true;
    const int iError = errno;
    std::uint64_t uiSite = 0;
    bool bFails = false;
    if ((s_szFrom == nullptr && !s_bSites) || isCounted(uiSite))
    {
        const std::uint64_t uiNumber = s_pState->uiAllocations.fetch_add(1) + 1;
        if (s_bSites && uiNumber <= s_pState->sites.size())
            s_pState->sites[uiNumber - 1] = uiSite;
        bFails =
            s_uiFailAt != 0 && (uiNumber == s_uiFailAt || (s_bLasting && uiNumber > s_uiFailAt));
        if (bFails && s_pState->uiFailed.fetch_add(1) == 0)
            noteStack("failed");
    }
    errno = bFails ? ENOMEM : iError;
    s_bInside = false;
    return bFails;
}

int (*s_pMain)(int, char**, char**) = nullptr;

int mainOfProgram(int in_iArguments, char** in_ppArguments, char** in_ppEnvironment)
{
    if (s_pState != nullptr)
    {
        // The first call loads the unwinder, which allocates.
        std::array<void*, 2> frames{};
        backtrace(frames.data(), static_cast<int>(frames.size()));
        dl_iterate_phdr(noteImage, reinterpret_cast<void*>(&noteImage));
    }
    s_bInMain = true;
    return s_pMain(in_iArguments, in_ppArguments, in_ppEnvironment);
}

void handle(int in_iSignal, int in_iFlags)
{
    struct sigaction action = {};
    action.sa_handler = onCrash;
    action.sa_flags = in_iFlags;
    sigaction(in_iSignal, &action, nullptr);
}

const char* valueOf(char** in_ppEnvironment, const char* in_szName)
{
    const std::size_t uiLength = strlen(in_szName);
    for (; *in_ppEnvironment != nullptr; ++in_ppEnvironment)
        if (strncmp(*in_ppEnvironment, in_szName, uiLength) == 0 &&
            (*in_ppEnvironment)[uiLength] == '=')
            return *in_ppEnvironment + uiLength + 1;
    return nullptr;
}

/// Removes LD_PRELOAD, so that programs that this one starts do not load this library.
void forgetPreload(char** inout_ppEnvironment)
{
    char** ppKept = inout_ppEnvironment;
    for (; *inout_ppEnvironment != nullptr; ++inout_ppEnvironment)
        if (strncmp(*inout_ppEnvironment, "LD_PRELOAD=", 11) != 0)
            *ppKept++ = *inout_ppEnvironment;
    *ppKept = nullptr;
}

/// Runs before the C library is initialised, so `environ` is not set yet.
[[gnu::constructor]] void prepare(int, char** in_ppArguments, char** in_ppEnvironment)
{
    const char* const szState = valueOf(in_ppEnvironment, "FAULTS_STATE");
    const int iFile = szState == nullptr ? -1 : open(szState, O_RDWR | O_CLOEXEC);
    if (iFile < 0)
        return;
    void* const pState = mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, iFile, 0);
    close(iFile);
    if (pState == MAP_FAILED)
        return;
    s_szProgram = in_ppArguments[0];
    s_szFrom = valueOf(in_ppEnvironment, "FAULTS_FROM");
    s_bSites = valueOf(in_ppEnvironment, "FAULTS_SITES") != nullptr;
    if (const char* const szAllocation = valueOf(in_ppEnvironment, "FAULTS_ALLOCATION"))
    {
        s_uiFailAt = strtoull(szAllocation, nullptr, 10);
        s_bLasting = strchr(szAllocation, '+') != nullptr;
    }
    forgetPreload(in_ppEnvironment);
    for (const int iSignal : {SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE})
        handle(iSignal, static_cast<int>(SA_RESETHAND));
    handle(SIGUSR2, SA_RESTART);
    s_pState = static_cast<State*>(pState);
    if (valueOf(in_ppEnvironment, "FAULTS_WAIT") != nullptr)
        kill(getpid(), SIGSTOP);
}

} // namespace

#pragma GCC visibility push(default)

extern "C"
{
    // NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)

    int __libc_start_main(int (*in_pMain)(int, char**, char**), int in_iArguments,
                          char** in_ppArguments, void (*in_pInit)(), void (*in_pFini)(),
                          void (*in_pRtldFini)(), void* in_pStackEnd)
    {
        s_pMain = in_pMain;
        const auto pReal =
            reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
        return pReal(mainOfProgram, in_iArguments, in_ppArguments, in_pInit, in_pFini, in_pRtldFini,
                     in_pStackEnd);
    }

    void* malloc(std::size_t in_uiSize) noexcept
    {
        return fails() ? nullptr : __libc_malloc(in_uiSize);
    }

    void* calloc(std::size_t in_uiCount, std::size_t in_uiSize) noexcept
    {
        return fails() ? nullptr : __libc_calloc(in_uiCount, in_uiSize);
    }

    void* realloc(void* in_pMemory, std::size_t in_uiSize) noexcept
    {
        return fails() ? nullptr : __libc_realloc(in_pMemory, in_uiSize);
    }

    void* memalign(std::size_t in_uiAlignment, std::size_t in_uiSize) noexcept
    {
        return fails() ? nullptr : __libc_memalign(in_uiAlignment, in_uiSize);
    }

    void* aligned_alloc(std::size_t in_uiAlignment, std::size_t in_uiSize) noexcept
    {
        return memalign(in_uiAlignment, in_uiSize);
    }

    int posix_memalign(void** out_ppMemory, std::size_t in_uiAlignment,
                       std::size_t in_uiSize) noexcept
    {
        const int iError = errno;
        *out_ppMemory = memalign(in_uiAlignment, in_uiSize);
        errno = iError;
        return *out_ppMemory == nullptr ? ENOMEM : 0;
    }

    // NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
}

#pragma GCC visibility pop
