// Arrays and memory blocks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "speechcommon.h"
#include "test_util.h"

namespace {

void *const kUnwritten = reinterpret_cast<void *>(0x1);
using Ints = std::vector<int>;

class ArrayTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(srvspi_ArrayInit(g_vqNullHandle, sizeof(int), &array_), 0u); }
  void TearDown() override { srvspi_ArrayDeinit(&array_); }
  void Add(std::initializer_list<int> values) {
    for (int value : values)
      ASSERT_EQ(srvspi_ArrayAdd(&array_, &value), 0u);
  }
  static Ints Contents(const SrvArray &array) {
    const int *data = static_cast<const int *>(array.data);
    return Ints(data, data + array.count);
  }
  static int At(void *element) { return *static_cast<int *>(element); }
  SrvArray array_{};
};

TEST_F(ArrayTest, GrowthResizeAndClone) {
  Add({1, 2, 3});  // one element at a time: capacity equals the count
  EXPECT_EQ(array_.capacity, 3u);
  ASSERT_EQ(srvspi_ArrayResize(&array_, 10), 0u);
  void *storage = array_.data;
  Add({4, 5, 6, 7});  // reserved room: no reallocation
  EXPECT_EQ(array_.data, storage);
  EXPECT_EQ(srvspi_ArrayAdd(&array_, nullptr), 0u);  // reserves the slot without writing it
  EXPECT_EQ(srvspi_ArrayResize(&array_, 7), SRVSPI_E_ARRAY_OUT_OF_RANGE);
  EXPECT_EQ(srvspi_ArrayResize(&array_, -2), SRVSPI_E_ARRAY_INVALID_ARGUMENT);
  EXPECT_EQ(srvspi_ArrayPop(&array_, nullptr), 0u);
  EXPECT_EQ(srvspi_ArrayResize(&array_, -1), 0u);  // exactly the count
  EXPECT_EQ(std::tuple(array_.capacity, Contents(array_)),
            std::tuple(7u, Ints{1, 2, 3, 4, 5, 6, 7}));
  // A clone takes the count as its capacity, and the same Resource.
  ASSERT_EQ(srvspi_ArrayResize(&array_, 9), 0u);
  SrvArray clone{};
  ASSERT_EQ(srvspi_ArrayClone(&array_, &clone), 0u);
  EXPECT_EQ(std::tuple(clone.capacity, clone.resource, Contents(clone)),
            std::tuple(7u, array_.resource, Contents(array_)));
  EXPECT_EQ(srvspi_ArrayDeinit(&clone), 0u);
  EXPECT_EQ(srvspi_ArrayClear(&array_), 0u);
  EXPECT_EQ(srvspi_ArrayClone(&array_, &clone), 0u);  // nothing to copy
  EXPECT_EQ(std::tuple(array_.capacity, clone.data), std::tuple(9u, nullptr));
  SrvArray never{};
  EXPECT_EQ(srvspi_ArrayDeinit(&never), SRVSPI_E_ARRAY_INVALID_ARGUMENT);  // no Resource recorded
}

TEST_F(ArrayTest, RemoveAtPopTopAndCursors) {
  void *element = kUnwritten;
  EXPECT_EQ(srvspi_ArrayBegin(&array_, &element), SRVSPI_E_ARRAY_NOT_FOUND);
  EXPECT_EQ(srvspi_ArrayPop(&array_, &element), SRVSPI_S_ARRAY_NO_ELEMENT);
  EXPECT_EQ(srvspi_ArrayTop(&array_, &element), SRVSPI_S_ARRAY_NO_ELEMENT);
  EXPECT_EQ(element, kUnwritten);
  Add({10, 20, 30, 40});
  EXPECT_EQ(srvspi_ArrayRemove(&array_, 4), SRVSPI_E_ARRAY_OUT_OF_RANGE);
  EXPECT_EQ(srvspi_ArrayRemove(&array_, 0), 0u);
  EXPECT_EQ(srvspi_ArrayRemove(&array_, 2), 0u);  // the last: nothing to move
  EXPECT_EQ(std::tuple(Contents(array_), array_.capacity), std::tuple(Ints{20, 30}, 4u));
  EXPECT_EQ(srvspi_ArrayAt(&array_, 2, &element), SRVSPI_S_ARRAY_NO_ELEMENT);
  EXPECT_EQ(element, kUnwritten);

  ASSERT_EQ(srvspi_ArrayBegin(&array_, &element), 0u);
  Ints seen{At(element)};
  VQRESULT rc;
  while ((rc = srvspi_ArrayNext(&array_, &element)) == 0)
    seen.push_back(At(element));
  EXPECT_EQ(std::tuple(rc, element, seen),
            std::tuple(SRVSPI_S_ARRAY_NOT_FOUND, nullptr, Ints{20, 30}));
  EXPECT_EQ(srvspi_ArrayTop(&array_, &element), 0u);
  EXPECT_EQ(srvspi_ArrayPop(&array_, &element), 0u);
  EXPECT_EQ(std::tuple(At(element), array_.count), std::tuple(30, 1u));  // readable until a change
}

VQRESULT Collect(void *element, void *user) {
  static_cast<Ints *>(user)->push_back(*static_cast<int *>(element));
  return *static_cast<int *>(element) == 99 ? 0x80990001u : 5u;
}

VQRESULT MatchKey(uint32_t key, void *element, void *) {
  if (*static_cast<int *>(element) == -1) return 0x80990002u;
  return static_cast<uint32_t>(*static_cast<int *>(element)) == key ? 0u : 7u;
}

TEST_F(ArrayTest, ForEachAndFind) {
  Ints seen;
  uint32_t index = 77;
  EXPECT_EQ(srvspi_ArrayFind(&array_, 1, MatchKey, nullptr, &index), SRVSPI_S_ARRAY_NOT_FOUND);
  Add({1, 2, 3});
  EXPECT_EQ(srvspi_ArrayForEach(&array_, Collect, &seen), 5u);  // the last call's success
  EXPECT_EQ(srvspi_ArrayFind(&array_, 9, MatchKey, nullptr, &index), 7u);
  EXPECT_EQ(index, 3u);  // the count when nothing matched
  Add({99, 4, -1, 4});
  EXPECT_EQ(srvspi_ArrayForEach(&array_, Collect, &seen), 0x80990001u);
  EXPECT_EQ(seen, (Ints{1, 2, 3, 1, 2, 3, 99}));  // the failure stopped the walk
  EXPECT_EQ(srvspi_ArrayFind(&array_, 4, MatchKey, nullptr, &index), 0u);
  EXPECT_EQ(index, 4u);
  EXPECT_EQ(srvspi_ArrayFind(&array_, 5, MatchKey, nullptr, &index), 0x80990002u);  // aborted
  EXPECT_EQ(index, 5u);
}

TEST_F(ArrayTest, ArgumentErrorsAndOutOfMemory) {
  sctest::AllocationFailureGuard guard;
  uint32_t count = 0;
  EXPECT_EQ(srvspi_ArrayInit(g_vqNullHandle, 0, &array_), SRVSPI_E_ARRAY_INVALID_ARGUMENT);
  EXPECT_EQ(srvspi_ArrayInit(g_vqNullHandle, 4, nullptr), SRVSPI_E_ARRAY_INVALID_ARGUMENT);
  EXPECT_EQ(srvspi_ArrayInit({nullptr, RESOURCE_MAGIC}, 4, &array_), RSRC_E_INVALID_RESOURCE);
  for (VQRESULT rc :
       {srvspi_ArrayCount(nullptr, &count), srvspi_ArrayCount(&array_, nullptr),
        srvspi_ArrayClone(nullptr, &array_), srvspi_ArrayClone(&array_, nullptr),
        srvspi_ArrayDeinit(nullptr), srvspi_ArrayClear(nullptr), srvspi_ArrayResize(nullptr, 1),
        srvspi_ArrayAdd(nullptr, &count), srvspi_ArrayRemove(nullptr, 0),
        srvspi_ArrayAt(nullptr, 0, nullptr), srvspi_ArrayBegin(nullptr, nullptr),
        srvspi_ArrayNext(&array_, nullptr), srvspi_ArrayPop(nullptr, nullptr),
        srvspi_ArrayTop(nullptr, nullptr), srvspi_ArrayForEach(&array_, nullptr, nullptr),
        srvspi_ArrayFind(nullptr, 0, MatchKey, nullptr, nullptr)})
    EXPECT_EQ(rc, SRVSPI_E_ARRAY_INVALID_ARGUMENT);

  Add({1, 2});
  void *storage = array_.data;
  int value = 3;
  SrvArray clone{};
  sc::testing::FailNthAllocation(1, true);
  EXPECT_EQ(srvspi_ArrayAdd(&array_, &value), SRVSPI_E_ARRAY_OUT_OF_MEMORY);
  EXPECT_EQ(srvspi_ArrayResize(&array_, 50), SRVSPI_E_ARRAY_OUT_OF_MEMORY);
  EXPECT_EQ(srvspi_ArrayClone(&array_, &clone), SRVSPI_E_ARRAY_OUT_OF_MEMORY);
  EXPECT_EQ(std::tuple(clone.data, array_.capacity, array_.data, Contents(array_)),
            std::tuple(nullptr, 2u, storage, Ints{1, 2}));
}

// The same routine sizes an image in a measuring block and then fills a real one.
uint32_t WriteImage(SrvMemblock *block) {
  void *pointer = nullptr;
  VQRESULT rc = srvspi_MemblockAlloc(block, 3, &pointer);
  if (!rc && pointer) std::memcpy(pointer, "abc", 3);
  if (!rc) rc = srvspi_MemblockAlign(block, 4);
  if (!rc) rc = srvspi_MemblockAlloc(block, 4, &pointer);
  if (!rc && pointer) std::memcpy(pointer, "wxyz", 4);
  if (!rc) rc = srvspi_MemblockAlign(block, 2);
  return rc ? rc : srvspi_MemblockRead(block, 1, &pointer);
}

TEST(Memblock, MeasuringFillingAndRunningFull) {
  SrvMemblock measure{}, fill{};
  ASSERT_EQ(srvspi_MemblockInit(&measure, 0, nullptr), 0u);
  ASSERT_EQ(WriteImage(&measure), 0u);
  uint32_t needed = 0;
  ASSERT_EQ(srvspi_MemblockGetUsed(&measure, &needed), 0u);
  EXPECT_EQ(needed, 9u);  // 3 + pad 1 + 4 + 1, padding included
  std::vector<unsigned char> image(needed, 0xAA);
  ASSERT_EQ(srvspi_MemblockInit(&fill, needed, image.data()), 0u);
  ASSERT_EQ(WriteImage(&fill), 0u);
  EXPECT_EQ(std::string(image.begin(), image.end() - 1), std::string("abc\xAAwxyz"));
  ASSERT_EQ(srvspi_MemblockInit(&fill, needed - 1, image.data()), 0u);
  EXPECT_EQ(WriteImage(&fill), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL);
  // A measuring block only adds up, short of wrapping around.
  EXPECT_EQ(srvspi_MemblockAlloc(&measure, UINT32_MAX, nullptr), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL);

  // A full block: an alignment that does not fit moves nothing, an allocation that does not
  // fit advances all the same.
  ASSERT_EQ(srvspi_MemblockInit(&fill, 8, image.data()), 0u);
  ASSERT_EQ(srvspi_MemblockAlloc(&fill, 5, nullptr), 0u);
  ASSERT_EQ(srvspi_MemblockAlign(&fill, 4), 0u);
  EXPECT_EQ(fill.used, 8u);
  fill.used = 6;
  EXPECT_EQ(srvspi_MemblockAlign(&fill, 16), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL);
  EXPECT_EQ(fill.used, 6u);
  void *pointer = nullptr;
  EXPECT_EQ(srvspi_MemblockAlloc(&fill, 4, &pointer), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL);
  EXPECT_EQ(std::tuple(fill.used, pointer), std::tuple(10u, image.data() + 6));
  uint32_t used = 0;
  for (VQRESULT rc :
       {srvspi_MemblockAlign(&fill, 0), srvspi_MemblockInit(nullptr, 0, nullptr),
        srvspi_MemblockAlloc(nullptr, 1, nullptr), srvspi_MemblockRead(nullptr, 1, nullptr),
        srvspi_MemblockGetUsed(nullptr, &used), srvspi_MemblockGetBegin(&fill, nullptr)})
    EXPECT_EQ(rc, SRVSPI_E_ARRAY_INVALID_ARGUMENT);
}

}  // namespace
