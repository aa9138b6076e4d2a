// The probes answer for memory as it is at the moment of the call, and never fault: not when
// the memory changed an instant before, not when the kernel refuses to copy memory for them,
// and a fault that is not a probe's still reaches whoever handled it before.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "speechcommon.h"

namespace {

const size_t kPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));

// Runs `body` in a child process; the child's exit status, or 128 plus the signal that ended it.
int InChild(const std::function<int()> &body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The read, write and string probes of 8 bytes.
using Answers = std::array<VQRESULT, 3>;
Answers Probe(char *at) {
  return {osspi_IsGoodReadPtr(at, 8), osspi_IsGoodWritePtr(at, 8), osspi_IsGoodStringPtr(at, 8)};
}
constexpr Answers kGood{0, 0, 0};
constexpr Answers kReadOnly{0, OSSPI_E_INVALID_WRITE_POINTER, 0};
constexpr Answers kNone{OSSPI_E_INVALID_READ_POINTER, OSSPI_E_INVALID_WRITE_POINTER,
                        OSSPI_E_INVALID_STRING_POINTER};

TEST(Osspi, NullPointersRangesAcrossPagesAndStringLimits) {
  for (VQRESULT rc : {osspi_IsGoodReadPtr(nullptr, 0), osspi_IsGoodWritePtr(nullptr, 4),
                      osspi_IsGoodStringPtr(nullptr, 4)})
    EXPECT_EQ(rc, OSSPI_E_NULL_POINTER);
  static const char kConstant[] = "constant";
  EXPECT_EQ(osspi_IsGoodWritePtr(const_cast<char *>(kConstant), 1), OSSPI_E_INVALID_WRITE_POINTER);
  // A range from good into bad memory is refused as a whole; a string ends at its NUL or at
  // the limit, whichever comes first.
  char *pages = static_cast<char *>(
      mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_EQ(mprotect(pages + kPage, kPage, PROT_NONE), 0);
  EXPECT_EQ(osspi_IsGoodReadPtr(pages, kPage), 0u);
  EXPECT_EQ(osspi_IsGoodReadPtr(pages + kPage - 4, 8), OSSPI_E_INVALID_READ_POINTER);
  char *tail = pages + kPage - 3;
  std::memcpy(tail, "xx", 3);
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 100), 0u);
  tail[2] = 'x';
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 3), 0u);
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 4), OSSPI_E_INVALID_STRING_POINTER);
  munmap(pages, 2 * kPage);
  // Addresses near 0 and ranges that wrap.
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(16), 1), OSSPI_E_INVALID_READ_POINTER);
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(UINTPTR_MAX - 8), 64),
            OSSPI_E_INVALID_READ_POINTER);
}

TEST(OsspiExact, ChangesAreSeenAtOnce) {
  // Each step changes the memory right after a probe found it good; no answer may come from
  // an older picture of it.
  char *anonymous = static_cast<char *>(
      mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(anonymous, MAP_FAILED);
  std::memset(anonymous, 'a', kPage);
  const struct {
    int protection;
    Answers answers;
  } steps[] = {{PROT_READ, kReadOnly}, {PROT_NONE, kNone}, {PROT_READ | PROT_WRITE, kGood}};
  EXPECT_EQ(Probe(anonymous), kGood);
  for (const auto &step : steps) {
    ASSERT_EQ(mprotect(anonymous, kPage, step.protection), 0);
    EXPECT_EQ(Probe(anonymous), step.answers) << "protection " << step.protection;
  }
  ASSERT_EQ(munmap(anonymous, kPage), 0);
  EXPECT_EQ(Probe(anonymous), kNone);

  // A shared mapping of a file that was then truncated: touching it would raise SIGBUS.
  char path[] = "/tmp/sc_probe_XXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  unlink(path);
  ASSERT_EQ(ftruncate(fd, static_cast<off_t>(kPage)), 0);
  char *shared =
      static_cast<char *>(mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  ASSERT_NE(shared, MAP_FAILED);
  std::memset(shared, 's', kPage);
  EXPECT_EQ(Probe(shared), kGood);
  ASSERT_EQ(ftruncate(fd, 0), 0);
  EXPECT_EQ(Probe(shared), kNone);
  munmap(shared, kPage);
  close(fd);
}

TEST(OsspiExact, OtherFaultsReachTheHostOrEndTheProcess) {
  static char *bad;
  bad = static_cast<char *>(mmap(nullptr, kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(bad, MAP_FAILED);
  // The host's handler, installed before the first probe, still gets the faults that are not
  // a probe's.
  const int handled = InChild([] {
    struct sigaction host {};
    host.sa_sigaction = [](int, siginfo_t *info, void *) { _exit(info->si_addr == bad ? 42 : 1); };
    host.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &host, nullptr);
    if (osspi_IsGoodReadPtr(bad, 1) != OSSPI_E_INVALID_READ_POINTER) return 2;
    return static_cast<int>(*static_cast<volatile char *>(bad));
  });
  EXPECT_EQ(handled, 42);
  // Without one, the fault ends the process with SIGSEGV, as it would have anyway.
  const int ended = InChild([] {
    signal(SIGSEGV, SIG_DFL);
    if (osspi_IsGoodWritePtr(bad, 1) != OSSPI_E_INVALID_WRITE_POINTER) return 2;
    return static_cast<int>(*static_cast<volatile char *>(bad));
  });
  EXPECT_EQ(ended, 128 + SIGSEGV);
  munmap(bad, kPage);
}

// Refuses process_vm_readv, as the usual container profiles do; false when no filter can be
// installed here.
bool RefuseKernelCopies() {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_process_vm_readv, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(OsspiThreads, StringProbeWhileAnotherThreadReprotects) {
  const int status = InChild([] {
    if (!RefuseKernelCopies()) return 77;
    char byte = 0, copy;
    iovec local{&copy, 1}, remote{&byte, 1};
    if (syscall(__NR_process_vm_readv, getpid(), &local, 1, &remote, 1, 0) != -1) return 3;
    // A string over two pages, its NUL at the very end; the second page keeps changing.
    char *pages = static_cast<char *>(
        mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::memset(pages, 'x', 2 * kPage - 1);
    pages[2 * kPage - 1] = 0;
    std::atomic<bool> stop{false};
    std::thread flipper([&] {
      for (int i = 0; !stop; ++i)
        mprotect(pages + kPage, kPage, i % 2 ? PROT_READ : PROT_NONE);
    });
    int odd = 0;
    for (int i = 0; i < 3000; ++i) {
      const VQRESULT answer = osspi_IsGoodStringPtr(pages, 2 * kPage);
      odd += answer != 0 && answer != OSSPI_E_INVALID_STRING_POINTER;
    }
    stop = true;
    flipper.join();
    mprotect(pages + kPage, kPage, PROT_NONE);
    if (osspi_IsGoodStringPtr(pages, 2 * kPage) != OSSPI_E_INVALID_STRING_POINTER) return 4;
    if (osspi_IsGoodStringPtr(pages, kPage) != 0) return 5;  // the limit comes first
    mprotect(pages + kPage, kPage, PROT_READ);
    if (osspi_IsGoodStringPtr(pages, 2 * kPage) != 0) return 6;
    return odd ? 7 : 0;
  });
  if (status == 77) GTEST_SKIP() << "no seccomp filter can be installed here";
  EXPECT_EQ(status, 0);
}

}  // namespace
