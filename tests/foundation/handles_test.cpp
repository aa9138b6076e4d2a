// Safe handles, resources and resource handles.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <tuple>

#include "foundation/resource.h"
#include "speechcommon.h"
#include "test_util.h"

namespace {

TEST(SafeHandle, CheckAndEquality) {
  uint32_t object[4] = {};
  const long page = sysconf(_SC_PAGESIZE);
  void *readOnly = mmap(nullptr, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  void *none = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const struct {
    SafeHandle handle;
    VQRESULT expected;
  } cases[] = {
      {{object, 42}, 0u},
      {{object, 41}, SAFEH_E_INVALID_HANDLE},
      {{nullptr, 42}, SAFEH_E_INVALID_HANDLE},
      {{readOnly, 42}, OSSPI_E_INVALID_WRITE_POINTER},
      {{none, 42}, OSSPI_E_INVALID_READ_POINTER},
      {{reinterpret_cast<void *>(0x10), 42}, OSSPI_E_INVALID_READ_POINTER}};  // garbage: no fault
  for (const auto &c : cases)
    EXPECT_EQ(safeh_HandleCheck(c.handle, 42, sizeof object), c.expected);
  munmap(readOnly, page);
  munmap(none, page);
  EXPECT_EQ(safeh_HandlesEqual({object, 1}, {object, 1}), 1);
  EXPECT_EQ(safeh_HandlesEqual({object, 1}, {object, 2}), 0);
  EXPECT_EQ(safeh_HandlesEqual({object, 1}, {object + 1, 1}), 0);
  EXPECT_EQ(safeh_HandlesEqual(g_vqNullHandle, {nullptr, 0}), 1);
}

TEST(Resource, OpenResolveCloseAndStaleHandles) {
  // The null handle gives the static default, which a close leaves intact.
  Resource *fallback = nullptr;
  EXPECT_EQ(InitRsrcFunction(g_vqNullHandle, &fallback), 0u);
  ASSERT_EQ(fallback, sc::DefaultResource());
  EXPECT_EQ(rsrc_Close(g_vqNullHandle), 0u);
  EXPECT_EQ(std::tuple(fallback->mark, fallback->heap), std::tuple(RESOURCE_MAGIC, 0u));
  EXPECT_EQ(InitRsrcFunction(g_vqNullHandle, nullptr), RSRC_E_NULL_POINTER);
  const int64_t before = sc::testing::LiveBlocks();
  ResourceHandle handle{};
  ASSERT_EQ(rsrc_Open(7, 9, 11, 13, &handle), 0u);
  EXPECT_EQ(handle.check, RESOURCE_MAGIC);
  Resource *resource = nullptr;
  ASSERT_EQ(InitRsrcFunction(handle, &resource), 0u);
  EXPECT_EQ(resource, handle.pointer);
  EXPECT_EQ(
      std::tuple(resource->heap, resource->lock, resource->clientWord1, resource->clientWord2),
      std::tuple(7u, 9u, 11u, 13u));
  Resource *untouched = nullptr;
  Resource fake{RESOURCE_MAGIC, 0, 0, 0, 0};  // a hand-made record is not a Resource
  for (ResourceHandle bad :
       {ResourceHandle{nullptr, RESOURCE_MAGIC}, ResourceHandle{handle.pointer, 7776},
        ResourceHandle{handle.pointer, 0}, ResourceHandle{&fake, RESOURCE_MAGIC}})
    EXPECT_EQ(InitRsrcFunction(bad, &untouched), RSRC_E_INVALID_RESOURCE);
  // Memory the probes refuse passes their code through unchanged.
  EXPECT_EQ(InitRsrcFunction({reinterpret_cast<void *>(0x10), RESOURCE_MAGIC}, &untouched),
            OSSPI_E_INVALID_READ_POINTER);
  EXPECT_EQ(untouched, nullptr);
  EXPECT_EQ(rsrc_Close(handle), 0u);
  EXPECT_FALSE(sc::ResourceAlive(resource));
  EXPECT_EQ(InitRsrcFunction(handle, &untouched), RSRC_E_INVALID_RESOURCE);  // closed
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(Resource, OpenRefusalsAndOutOfMemory) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, nullptr), OSSPI_E_NULL_POINTER);
  const long page = sysconf(_SC_PAGESIZE);
  void *readOnly = mmap(nullptr, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, static_cast<ResourceHandle *>(readOnly)),
            OSSPI_E_INVALID_WRITE_POINTER);
  munmap(readOnly, page);
  ResourceHandle handle{reinterpret_cast<void *>(0x99), 5};
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, &handle), RSRC_E_OUT_OF_MEMORY);
  EXPECT_EQ(handle.pointer, reinterpret_cast<void *>(0x99));  // left unwritten
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

}  // namespace
