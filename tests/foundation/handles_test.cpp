// Safe handles, resources and resource handles.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "foundation/resource.h"
#include "speechcommon.h"
#include "test_util.h"

namespace {

struct Object {
  uint32_t words[4];
};

TEST(SafeHandle, CheckRefusesWrongValuesNullAndBadMemory) {
  Object object{};
  EXPECT_EQ(safeh_HandleCheck({&object, 42}, 42, sizeof object), 0u);
  EXPECT_EQ(safeh_HandleCheck({&object, 41}, 42, sizeof object), 0x80170189u);
  EXPECT_EQ(safeh_HandleCheck({nullptr, 42}, 42, sizeof object), 0x80170189u);
  EXPECT_EQ(safeh_HandleCheck(g_vqNullHandle, 0, sizeof object), 0x80170189u);

  const long page = sysconf(_SC_PAGESIZE);
  void *readOnly = mmap(nullptr, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  void *none = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(readOnly, MAP_FAILED);
  ASSERT_NE(none, MAP_FAILED);
  EXPECT_EQ(safeh_HandleCheck({readOnly, 42}, 42, sizeof object), 0x80060105u);
  EXPECT_EQ(safeh_HandleCheck({none, 42}, 42, sizeof object), 0x80060104u);
  // A garbage pointer is refused without a fault.
  EXPECT_EQ(safeh_HandleCheck({reinterpret_cast<void *>(0x10), 42}, 42, 8), 0x80060104u);
  munmap(readOnly, page);
  munmap(none, page);
}

TEST(SafeHandle, EqualityNeedsPointerAndCheckValue) {
  Object a{}, b{};
  EXPECT_EQ(safeh_HandlesEqual({&a, 1}, {&a, 1}), 1);
  EXPECT_EQ(safeh_HandlesEqual({&a, 1}, {&a, 2}), 0);
  EXPECT_EQ(safeh_HandlesEqual({&a, 1}, {&b, 1}), 0);
  EXPECT_EQ(safeh_HandlesEqual(g_vqNullHandle, {nullptr, 0}), 1);
  EXPECT_EQ(g_vqNullHandle.pointer, nullptr);
  EXPECT_EQ(g_vqNullHandle.check, 0u);
}

TEST(Resource, NullHandleGivesTheDefaultResource) {
  Resource *resource = nullptr;
  EXPECT_EQ(InitRsrcFunction(g_vqNullHandle, &resource), 0u);
  ASSERT_NE(resource, nullptr);
  EXPECT_EQ(resource->mark, RESOURCE_MAGIC);
  EXPECT_EQ(resource->heap, 0u);
  EXPECT_EQ(resource->lock, 0u);
  EXPECT_EQ(resource, sc::DefaultResource());
  // Closing the null handle leaves the static default resource intact.
  EXPECT_EQ(rsrc_Close(g_vqNullHandle), 0u);
  EXPECT_EQ(InitRsrcFunction(g_vqNullHandle, &resource), 0u);
  EXPECT_EQ(resource->mark, RESOURCE_MAGIC);
  EXPECT_EQ(InitRsrcFunction(g_vqNullHandle, nullptr), 0x80160183u);
}

TEST(Resource, OpenResolveClose) {
  const int64_t before = sc::testing::LiveBlocks();
  ResourceHandle handle{};
  ASSERT_EQ(rsrc_Open(7, 9, 11, 13, &handle), 0u);
  EXPECT_EQ(handle.check, RESOURCE_MAGIC);
  Resource *resource = nullptr;
  ASSERT_EQ(InitRsrcFunction(handle, &resource), 0u);
  EXPECT_EQ(resource, handle.pointer);
  EXPECT_EQ(resource->mark, RESOURCE_MAGIC);
  EXPECT_EQ(resource->heap, 7u);
  EXPECT_EQ(resource->lock, 9u);
  EXPECT_EQ(resource->clientWord1, 11u);
  EXPECT_EQ(resource->clientWord2, 13u);
  EXPECT_TRUE(sc::ResourceAlive(resource));

  // Wrong check values and null pointers are invalid resource handles.
  Resource *untouched = reinterpret_cast<Resource *>(0x1);
  EXPECT_EQ(InitRsrcFunction({nullptr, RESOURCE_MAGIC}, &untouched), 0x80160101u);
  EXPECT_EQ(InitRsrcFunction({handle.pointer, 7776}, &untouched), 0x80160101u);
  EXPECT_EQ(InitRsrcFunction({handle.pointer, 0}, &untouched), 0x80160101u);
  EXPECT_EQ(untouched, reinterpret_cast<Resource *>(0x1));
  // Memory the probes refuse passes their code through unchanged.
  EXPECT_EQ(InitRsrcFunction({reinterpret_cast<void *>(0x10), RESOURCE_MAGIC}, &untouched),
            0x80060104u);

  EXPECT_EQ(rsrc_Close(handle), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  EXPECT_FALSE(sc::ResourceAlive(resource));
  // A closed resource is refused, and never freed twice.
  EXPECT_EQ(InitRsrcFunction(handle, &untouched), 0x80160101u);
  EXPECT_EQ(rsrc_Close(handle), 0x80160101u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(Resource, HandMadeRecordIsNotAResource) {
  Resource fake{RESOURCE_MAGIC, 0, 0, 0, 0};
  Resource *out = nullptr;
  EXPECT_EQ(InitRsrcFunction({&fake, RESOURCE_MAGIC}, &out), 0x80160101u);
  EXPECT_EQ(rsrc_Close({&fake, RESOURCE_MAGIC}), 0x80160101u);
}

TEST(Resource, OpenRefusalsAndOutOfMemory) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, nullptr), 0x80060183u);
  const long page = sysconf(_SC_PAGESIZE);
  void *readOnly = mmap(nullptr, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, static_cast<ResourceHandle *>(readOnly)), 0x80060105u);
  munmap(readOnly, page);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);

  ResourceHandle handle{reinterpret_cast<void *>(0x99), 5};
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(rsrc_Open(0, 0, 0, 0, &handle), 0x80160186u);
  EXPECT_EQ(handle.pointer, reinterpret_cast<void *>(0x99));  // left unwritten
  EXPECT_EQ(handle.check, 5u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

}  // namespace
