// Parser resources: a file read through a read-ahead window, or a private copy of bytes.
// Mappings are pointers straight into the window or the copy. A window that still has
// mappings when the next read needs the buffer is retired, not freed, so earlier pointers stay
// valid until they are given back.
#include <algorithm>
#include <cstring>

#include "foundation/alloc.h"
#include "platform/files.h"
#include "sc_hdrpars.h"

namespace {

constexpr uint32_t kDefaultWindow = 1024;

struct RetiredWindow {
  uint32_t mapCount;
  uint8_t *buffer;
  uint32_t capacity;
  RetiredWindow *next;
};

struct FileState {
  sc::plat::File *file;
  uint8_t *window;
  uint32_t valid;        // bytes read into the window
  uint64_t windowStart;  // file offset of the window's first byte
  uint32_t capacity;
  uint32_t totalSize;  // counted from the base offset; PARSER_RESOURCE_SIZE_UNKNOWN
  uint32_t mapCount;   // mappings into the current window not yet given back
  uint32_t minimumWindow;
  RetiredWindow *retired;
};

struct MemoryState {
  const uint8_t *copy;
  uint32_t size;
};

// The record, its state and (for memory) the copy share one block.
struct FileResource {
  ParserResource resource;
  FileState state;
};
struct MemoryResource {
  ParserResource resource;
  MemoryState state;
};

FileState &FileOf(ParserResource *resource) {
  return *static_cast<FileState *>(resource->state);
}
MemoryState &MemoryOf(ParserResource *resource) {
  return *static_cast<MemoryState *>(resource->state);
}

bool Contains(const uint8_t *buffer, uint32_t capacity, const void *pointer) {
  const auto at = reinterpret_cast<uintptr_t>(pointer);
  const auto first = reinterpret_cast<uintptr_t>(buffer);
  return buffer && at >= first && at - first < capacity;
}

VQRESULT OpenFile(const char *path, uint32_t baseOffset, uint32_t size, uint32_t minimumWindow,
                  ParserResource **out) {
  auto *block = static_cast<FileResource *>(sc::RawCalloc(1, sizeof(FileResource)));
  if (!block) return HDRPARS_E_OUT_OF_MEMORY;
  block->state.file = sc::plat::FileOpenForRead(path);
  if (!block->state.file) {
    sc::RawFree(block);
    return HDRPARS_E_FILE_OPEN;
  }
  block->state.totalSize = size;
  block->state.minimumWindow = minimumWindow ? minimumWindow : kDefaultWindow;
  block->resource = {PARSER_RESOURCE_FILE, &block->state, baseOffset};
  *out = &block->resource;
  return 0;
}

VQRESULT OpenMemory(const void *bytes, uint32_t baseOffset, uint32_t size, ParserResource **out) {
  if (!bytes && size) return HDRPARS_E_INVALID_ARGUMENT;
  auto *block = static_cast<MemoryResource *>(sc::RawAlloc(sizeof(MemoryResource) + size));
  if (!block) return HDRPARS_E_OUT_OF_MEMORY;
  auto *copy = reinterpret_cast<uint8_t *>(block + 1);
  if (size) std::memcpy(copy, bytes, size);
  block->state = {copy, size};
  block->resource = {PARSER_RESOURCE_MEMORY, &block->state, baseOffset};
  *out = &block->resource;
  return 0;
}

VQRESULT MapMemory(ParserResource *resource, uint64_t position, int64_t length, const void **data,
                   uint32_t *available) {
  const MemoryState &memory = MemoryOf(resource);
  if (length == -1) length = memory.size;
  if (position >= memory.size || length < 1) return 0;
  *data = memory.copy + position;
  *available = static_cast<uint32_t>(std::min<int64_t>(memory.size - position, length));
  return 0;
}

// Sources of known size (data blocks) are mostly read from start to end, so a small request
// reads ahead this far within the source: fewer, larger reads give the same mappings.
constexpr uint32_t kReadAhead = 64 * 1024;

// Room for a read of `length` bytes at `offset` (`position` in the file). A window larger than
// the read-ahead gets no more room than the file still holds: a read could not fill more, so
// the mapping is the same, and a block whose size claims far more than its file costs no huge
// buffer.
uint32_t WindowFor(FileState &file, uint32_t offset, uint64_t position, uint32_t length) {
  uint32_t wanted = std::max(length, file.minimumWindow);
  if (file.totalSize != PARSER_RESOURCE_SIZE_UNKNOWN && wanted < kReadAhead)
    wanted = std::max(wanted, std::min(kReadAhead, file.totalSize - offset));
  if (wanted <= std::max(file.minimumWindow, kReadAhead)) return wanted;
  const int64_t fileSize = sc::plat::FileSize(file.file);
  if (fileSize < 0) return wanted;
  const uint64_t left = uint64_t(fileSize) > position ? uint64_t(fileSize) - position : 0;
  return static_cast<uint32_t>(std::clamp<uint64_t>(left, file.minimumWindow, wanted));
}

// Makes the window a buffer that holds the file from `position` on, as far as `length`.
VQRESULT Reload(FileState &file, uint32_t offset, uint64_t position, uint32_t length) {
  const uint32_t capacity = WindowFor(file, offset, position, length);
  if (!file.window || file.capacity < capacity || file.mapCount > 0) {
    auto *buffer = static_cast<uint8_t *>(sc::RawAlloc(capacity));
    if (!buffer) return HDRPARS_E_OUT_OF_MEMORY;
    if (file.window && file.mapCount > 0) {
      auto *entry = static_cast<RetiredWindow *>(sc::RawAlloc(sizeof(RetiredWindow)));
      if (!entry) {
        sc::RawFree(buffer);
        return HDRPARS_E_OUT_OF_MEMORY;
      }
      *entry = {file.mapCount, file.window, file.capacity, nullptr};
      RetiredWindow **tail = &file.retired;
      while (*tail)
        tail = &(*tail)->next;
      *tail = entry;
    } else {
      sc::RawFree(file.window);
    }
    file.window = buffer;
    file.capacity = capacity;
    file.mapCount = 0;
  }
  // Nothing in the buffer counts as read until the read succeeds, so a failure leaves no
  // window that a later mapping could hit.
  file.valid = 0;
  if (!sc::plat::FileSeek(file.file, position)) return HDRPARS_E_FILE_READ;
  const int64_t got = sc::plat::FileRead(file.file, file.window, file.capacity);
  if (got < 0) return HDRPARS_E_FILE_READ;
  file.windowStart = position;
  file.valid = static_cast<uint32_t>(got);
  return 0;
}

VQRESULT MapFile(ParserResource *resource, uint32_t offset, int64_t length, const void **data,
                 uint32_t *available) {
  FileState &file = FileOf(resource);
  const bool sizeKnown = file.totalSize != PARSER_RESOURCE_SIZE_UNKNOWN;
  if (length == -1) {
    if (sizeKnown) {
      length = file.totalSize;
    } else {
      length = sc::plat::FileSize(file.file);
      if (length < 0) return HDRPARS_E_FILE_READ;
    }
  }
  // A mapping never reaches past the end of a source of known size; an offset beyond the
  // end leaves a length below 1.
  if (sizeKnown) length = std::min<int64_t>(length, int64_t{file.totalSize} - offset);
  if (length < 1) return 0;
  const uint32_t wanted = static_cast<uint32_t>(std::min<int64_t>(length, INT32_MAX));
  const uint64_t position = uint64_t{resource->baseOffset} + offset;
  if (file.window && file.windowStart <= position &&
      file.windowStart + file.valid >= position + wanted) {
    ++file.mapCount;
    *data = file.window + (position - file.windowStart);
    *available = wanted;
    return 0;
  }
  const VQRESULT loaded = Reload(file, offset, position, wanted);
  if (loaded) return loaded;
  ++file.mapCount;
  *data = file.window;
  *available = std::min(file.valid, wanted);
  return 0;
}

}  // namespace

extern "C" {

SC_API VQRESULT hdrpars_OpenResource(const void *what, uint32_t baseOffset, uint32_t size,
                                     uint32_t kind, uint32_t minimumWindow, ParserResource **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = nullptr;
  switch (kind) {
    case PARSER_RESOURCE_FILE:
      if (!what) return HDRPARS_E_INVALID_ARGUMENT;
      return OpenFile(static_cast<const char *>(what), baseOffset, size, minimumWindow, out);
    case PARSER_RESOURCE_MEMORY:
      return OpenMemory(what, baseOffset, size, out);
    default:
      return HDRPARS_E_UNEXPECTED;
  }
}

SC_API VQRESULT hdrpars_CloseResource(ParserResource *resource) {
  if (!resource) return 0;
  if (resource->kind == PARSER_RESOURCE_MEMORY) {
    sc::RawFree(resource);
    return 0;
  }
  if (resource->kind != PARSER_RESOURCE_FILE) return HDRPARS_E_UNEXPECTED;
  FileState &file = FileOf(resource);
  if (file.retired || file.mapCount > 0) return HDRPARS_E_STILL_MAPPED;
  sc::RawFree(file.window);
  sc::plat::FileClose(file.file);
  sc::RawFree(resource);
  return 0;
}

SC_API VQRESULT hdrpars_DataMap(ParserResource *resource, uint32_t offset, int32_t length,
                                const void **data, uint32_t *available) {
  if (!data || !available) return HDRPARS_E_INVALID_ARGUMENT;
  *data = nullptr;
  *available = 0;
  if (!resource || length == 0) return 0;
  switch (resource->kind) {
    case PARSER_RESOURCE_MEMORY:
      return MapMemory(resource, uint64_t{resource->baseOffset} + offset, length, data, available);
    case PARSER_RESOURCE_FILE:
      return MapFile(resource, offset, length, data, available);
    default:
      return HDRPARS_E_UNEXPECTED;
  }
}

SC_API VQRESULT hdrpars_DataUnMap(ParserResource *resource, const void *pointer) {
  if (!resource || !pointer || resource->kind == PARSER_RESOURCE_MEMORY) return 0;
  if (resource->kind != PARSER_RESOURCE_FILE) return HDRPARS_E_UNEXPECTED;
  FileState &file = FileOf(resource);
  if (Contains(file.window, file.capacity, pointer)) {
    if (file.mapCount == 0) return HDRPARS_E_UNEXPECTED;
    --file.mapCount;
    return 0;
  }
  for (RetiredWindow **link = &file.retired; *link; link = &(*link)->next) {
    RetiredWindow *entry = *link;
    if (!Contains(entry->buffer, entry->capacity, pointer)) continue;
    if (--entry->mapCount == 0) {
      *link = entry->next;
      sc::RawFree(entry->buffer);
      sc::RawFree(entry);
    }
    return 0;
  }
  return HDRPARS_E_UNEXPECTED;
}

}  // extern "C"
