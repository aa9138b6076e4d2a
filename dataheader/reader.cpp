// The reader of the tagged text: elements, sibling lists, the file header, and tag lookup.
//
// The file is read once, as far as the end of HEADER, into one buffer of 16-bit characters,
// and the tree is built over that buffer instead of over a private copy of each value (the
// children of an element are read from its place in the text, which holds exactly what such a
// copy would). Names and the values of elements without children stay in the buffer; the
// values of elements with children are copied once, into the structure's own blocks.
#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "dataheader/tree.h"
#include "dataheader/tree_store.h"
#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "platform/files.h"
#include "sc_hdrpars.h"

namespace {

using sc::hdr::TreeStore;

constexpr size_t kMaxName = 256;
// Children are read only this deep, which bounds the work on hostile files; deeper elements
// keep their value text.
constexpr unsigned kMaxDepth = 1000;
// Elements with children keep their whole inner text as their value this many levels down;
// deeper ones have an empty value. Each level's values together hold at most the header's
// text, so this bounds the memory of a tree whatever its nesting.
constexpr unsigned kValuedDepth = 3;

constexpr size_t kFirstRead = 64 * 1024;
constexpr size_t kNextReads = 128 * 1024;
constexpr size_t kLargestFirstBuffer = size_t{1} << 20;

bool IsBlank(char16_t c) {
  return c == u' ' || c == u'\r' || c == u'\n';
}

constexpr std::u16string_view kBinaryData = u"<BINARYDATA>";

bool SameChars(const char16_t *a, const char16_t *b, size_t length) {
  for (size_t i = 0; i < length; ++i)
    if (a[i] != b[i]) return false;
  return true;
}

// Where every closing tag ("</") of the text starts, found in one pass as the text comes in,
// and where its first "<BINARYDATA>" starts. Closing tags are then looked for among these
// places instead of by scanning the text again at every level of the tree; elements are read
// in the order of their places, so a lookup moves on from the last one.
class TextIndex {
 public:
  TextIndex() = default;
  TextIndex(const TextIndex &) = delete;
  TextIndex &operator=(const TextIndex &) = delete;
  ~TextIndex() { sc::RawFree(at_); }

  // Indexes text[scanned, size). Unless the text is `final`, its last characters wait for
  // more of it, since what starts there cannot be told yet. False when out of memory.
  bool Extend(const char16_t *text, size_t size, bool final) {
    if (size > UINT32_MAX) return false;  // places are kept in 32 bits
    const size_t upto = final ? size : size - std::min(size, kBinaryData.size() - 1);
    if (upto <= scanned_) return true;
    const bool added =
        sc::hdr::ForEachChar(text + scanned_, text + upto, u'<', [&](const char16_t *at) {
          const size_t place = size_t(at - text);
          if (size - place < 2) return true;
          if (at[1] == u'/') return Add(place);
          if (!markerFound_ && at[1] == u'B' && size - place >= kBinaryData.size() &&
              SameChars(at, kBinaryData.data(), kBinaryData.size())) {
            marker_ = place;
            markerFound_ = true;
          }
          return true;
        });
    scanned_ = upto;
    return added;
  }
  size_t count() const { return count_; }
  size_t operator[](size_t index) const { return at_[index]; }
  // The index of the first closing tag at or after `position`.
  size_t FirstFrom(size_t position) {
    if (hint_ > count_ || (hint_ > 0 && at_[hint_ - 1] >= position)) hint_ = 0;
    if (hint_ + 64 < count_ && at_[hint_ + 64] < position)
      hint_ = size_t(std::lower_bound(at_ + hint_, at_ + count_, position) - at_);
    while (hint_ < count_ && at_[hint_] < position)
      ++hint_;
    return hint_;
  }
  // True with the place of the first "<BINARYDATA>"; false with the place from which the
  // rest of the file must be searched, no marker starting before it.
  bool BinaryData(size_t &at) const {
    at = markerFound_ ? marker_ : scanned_;
    return markerFound_;
  }

 private:
  bool Add(size_t position) {
    if (count_ == capacity_) {
      const size_t capacity = capacity_ ? capacity_ * 2 : 1024;
      void *grown = sc::RawRealloc(at_, capacity * sizeof(uint32_t));
      if (!grown) return false;
      at_ = static_cast<uint32_t *>(grown);
      capacity_ = capacity;
    }
    at_[count_++] = static_cast<uint32_t>(position);
    return true;
  }

  uint32_t *at_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
  size_t scanned_ = 0;
  size_t hint_ = 0;
  size_t marker_ = 0;
  bool markerFound_ = false;
};

// Positions of one element in the text, in characters.
struct Element {
  size_t nameBegin, nameEnd;    // nameEnd holds the '>'
  size_t valueBegin, valueEnd;  // trimmed
  size_t next;                  // after the closing tag
};

enum class Scan {
  kFound,
  kNone,      // no element starts here
  kUnclosed,  // an element starts here but its closing tag is missing
  kMore,      // the text may hold an answer once more of it is read
};

// Reads the element that starts at `index` (after blanks) in text[0, end). `final` tells that
// nothing follows `end`; otherwise running into it asks for more text, and `resume` (when
// given) keeps how far the search for the closing tag got, for the next try. `closings` holds
// the closing tags of the text up to `end` at least.
Scan ReadElement(const char16_t *text, size_t end, bool final, size_t index, TextIndex &closings,
                 Element &element, size_t *resume = nullptr) {
  const Scan ended = final ? Scan::kNone : Scan::kMore;
  size_t i = index;
  while (i < end && IsBlank(text[i]))
    ++i;
  if (i >= end) return ended;
  if (text[i] != u'<') return Scan::kNone;
  const size_t nameBegin = i + 1;
  const size_t limit = nameBegin + kMaxName + 1;  // a name has at most 256 characters
  const char16_t *close =
      sc::hdr::FindChar(text + nameBegin, text + (limit < end ? limit : end), u'>');
  if (close == text + end) return ended;
  if (close == text + limit) return Scan::kNone;
  const size_t nameEnd = static_cast<size_t>(close - text);
  const size_t nameLength = nameEnd - nameBegin;
  // The value runs to the first "</" name ">".
  const size_t closingLength = nameLength + 3;
  size_t match = 0;
  size_t k = closings.FirstFrom(nameEnd + 1);
  if (resume && *resume > k) k = *resume;
  for (;; ++k) {
    if (k == closings.count() || closings[k] >= end || end - closings[k] < closingLength) {
      if (resume) *resume = k;
      return final ? Scan::kUnclosed : Scan::kMore;
    }
    match = closings[k];
    if (text[match + 2 + nameLength] == u'>' &&
        SameChars(text + match + 2, text + nameBegin, nameLength))
      break;
  }
  size_t valueBegin = nameEnd + 1, valueEnd = match;
  while (valueBegin < valueEnd && IsBlank(text[valueBegin]))
    ++valueBegin;
  while (valueEnd > valueBegin && IsBlank(text[valueEnd - 1]))
    --valueEnd;
  element = {nameBegin, nameEnd, valueBegin, valueEnd, match + closingLength};
  return Scan::kFound;
}

bool NameIs(const char16_t *text, const Element &element, std::u16string_view name) {
  return element.nameEnd - element.nameBegin == name.size() &&
         !std::memcmp(text + element.nameBegin, name.data(), name.size() * sizeof(char16_t));
}

// The file's characters (UTF-16 little-endian), read as far as the reader asks.
class FileText {
 public:
  FileText() = default;
  FileText(const FileText &) = delete;
  FileText &operator=(const FileText &) = delete;
  ~FileText() {
    sc::RawFree(buffer_);
    if (file_) sc::plat::FileClose(file_);
  }

  VQRESULT Open(const char *path) {
    file_ = sc::plat::FileOpenForRead(path);
    if (!file_) return HDRPARS_E_FILE_OPEN;
    const int64_t size = sc::plat::FileSize(file_);
    if (size < 0 || !sc::plat::FileSeek(file_, 0)) return HDRPARS_E_FILE_READ;
    fileBytes_ = static_cast<uint64_t>(size);
    return 0;
  }

  const char16_t *chars() const { return buffer_; }
  size_t size() const { return bytes_ / 2; }
  bool ended() const { return ended_; }

  // Reads on until more than `chars` characters are held or the file ends.
  VQRESULT ReadBeyond(size_t chars) {
    while (!ended_ && size() <= chars) {
      if (bytes_ == capacity_ && !Grow()) return HDRPARS_E_OUT_OF_MEMORY;
      // Reads of a fixed size: a long header costs few of them, and little of the data after
      // it is read.
      size_t wanted = bytes_ == 0 ? kFirstRead : kNextReads;
      if (wanted > capacity_ - bytes_) wanted = capacity_ - bytes_;
      const int64_t got =
          sc::plat::FileRead(file_, reinterpret_cast<unsigned char *>(buffer_) + bytes_, wanted);
      if (got < 0) return HDRPARS_E_FILE_READ;
      if constexpr (std::endian::native == std::endian::big) Swap(bytes_, size_t(got));
      bytes_ += static_cast<size_t>(got);
      ended_ = got == 0;
    }
    return 0;
  }

  // Hands the buffer over, cut to its first `chars` characters (null when even that fails),
  // and closes the file.
  char16_t *Release(size_t chars) {
    sc::plat::FileClose(file_);
    file_ = nullptr;
    void *cut = sc::RawRealloc(buffer_, chars ? chars * sizeof(char16_t) : 1);
    if (cut) buffer_ = nullptr;
    return static_cast<char16_t *>(cut);
  }

 private:
  bool Grow() {
    size_t capacity = capacity_ ? capacity_ * 2 : kFirstRead;
    // The whole file fits in what its size asks for (an odd byte at its end is never a
    // character); a file that grows while it is read gets more as it comes.
    if (!capacity_ && fileBytes_ < kLargestFirstBuffer) capacity = size_t(fileBytes_) + 2;
    if (!capacity_ && fileBytes_ >= kLargestFirstBuffer) capacity = kLargestFirstBuffer;
    capacity = (capacity + 1) / 2 * 2;
    void *grown = sc::RawRealloc(buffer_, capacity);
    if (!grown) return false;
    buffer_ = static_cast<char16_t *>(grown);
    capacity_ = capacity;
    return true;
  }
  // Puts the units completed by a read of `bytes` bytes at `from` in host order; a unit whose
  // first byte came with the read before is completed now.
  void Swap(size_t from, size_t bytes) {
    auto *at = reinterpret_cast<unsigned char *>(buffer_);
    for (size_t i = from & ~size_t{1}; i + 1 < from + bytes; i += 2)
      std::swap(at[i], at[i + 1]);
  }

  sc::plat::File *file_ = nullptr;
  uint64_t fileBytes_ = 0;
  char16_t *buffer_ = nullptr;
  size_t capacity_ = 0;  // bytes
  size_t bytes_ = 0;     // read so far
  bool ended_ = false;
};

// Reads an element of the file's text at `index`, reading more of the file as needed.
VQRESULT ReadFileElement(FileText &file, TextIndex &index, size_t at, Element &element,
                         Scan &scan) {
  size_t resume = 0;
  for (;;) {
    if (!index.Extend(file.chars(), file.size(), file.ended())) return HDRPARS_E_OUT_OF_MEMORY;
    scan = ReadElement(file.chars(), file.size(), file.ended(), at, index, element, &resume);
    if (scan != Scan::kMore) return 0;
    const VQRESULT read = file.ReadBeyond(file.size());
    if (read) return read;
  }
}

// Builds the sibling list of the elements in text[begin, end), with their children. The first
// point where no element can be read ends a list without failing; only running out of memory
// fails. Depth first, with an explicit stack, so hostile nesting costs no call stack; each
// element is read when its turn comes, so elements are read in the order of their places.
class TreeBuilder {
 public:
  TreeBuilder(TreeStore &store, TextIndex &index)
      : store_(store), text_(store.text), index_(index) {}
  TreeBuilder(const TreeBuilder &) = delete;
  TreeBuilder &operator=(const TreeBuilder &) = delete;
  ~TreeBuilder() { sc::RawFree(levels_); }

  VQRESULT Build(size_t begin, size_t end, Tag **first) {
    if (!Push({{}, false, begin, end, first, 1})) return HDRPARS_E_OUT_OF_MEMORY;
    while (depth_ > 0) {
      Level &level = levels_[depth_ - 1];
      Element current = level.pending;
      if (!level.hasPending &&
          ReadElement(text_, level.end, true, level.index, index_, current) != Scan::kFound) {
        --depth_;
        continue;
      }
      level.hasPending = false;
      level.index = current.next;
      const unsigned depth = level.depth;
      Tag *tag = sc::hdr::StoreTag(store_);
      if (!tag) return HDRPARS_E_OUT_OF_MEMORY;
      *level.link = tag;
      level.link = &tag->next;
      tag->name = text_ + current.nameBegin;
      Element child;
      // A trimmed value that holds children starts with '<'.
      const bool parent = depth < kMaxDepth && current.valueBegin < current.valueEnd &&
                          text_[current.valueBegin] == u'<' &&
                          ReadElement(text_, current.valueEnd, true, current.valueBegin, index_,
                                      child) == Scan::kFound;
      if (parent) {
        // The copy is taken before the children end their names and values in the text.
        tag->value = depth <= kValuedDepth
                         ? sc::hdr::StoreText(store_, Slice(current.valueBegin, current.valueEnd))
                         : sc::hdr::StoreText(store_, {});
        if (!tag->value) return HDRPARS_E_OUT_OF_MEMORY;
        if (!Push({child, true, child.next, current.valueEnd, &tag->children, depth + 1}))
          return HDRPARS_E_OUT_OF_MEMORY;
      } else {
        tag->value = text_ + current.valueBegin;
        text_[current.valueEnd] = 0;
      }
      text_[current.nameEnd] = 0;
    }
    return 0;
  }

 private:
  struct Level {
    Element pending;  // the list's first element, read before the list was made
    bool hasPending;
    size_t index;  // where the next element may start
    size_t end;
    Tag **link;
    unsigned depth;
  };

  std::u16string_view Slice(size_t begin, size_t end) const {
    return std::u16string_view(text_ + begin, end - begin);
  }
  bool Push(const Level &level) {
    if (depth_ == capacity_) {
      const size_t capacity = capacity_ ? capacity_ * 2 : 16;
      void *grown = sc::RawRealloc(levels_, capacity * sizeof(Level));
      if (!grown) return false;
      levels_ = static_cast<Level *>(grown);
      capacity_ = capacity;
    }
    levels_[depth_++] = level;
    return true;
  }

  TreeStore &store_;
  char16_t *text_;
  TextIndex &index_;
  Level *levels_ = nullptr;
  size_t depth_ = 0;
  size_t capacity_ = 0;
};

// Finds HEADER's value in the file: 0 with its range, a read or memory failure, or the
// wrong-format code.
VQRESULT FindHeader(FileText &file, TextIndex &index, size_t &begin, size_t &end) {
  // The first seven characters (a byte-order mark, "<VQS>" and a line end, or less without
  // the mark) are not examined.
  Element element;
  Scan scan;
  VQRESULT read = ReadFileElement(file, index, 7, element, scan);
  if (!read && scan == Scan::kNone) read = ReadFileElement(file, index, 8, element, scan);
  if (read) return read;
  const char16_t *text = file.chars();
  if (scan != Scan::kFound || !NameIs(text, element, u"VERSION") ||
      element.valueEnd - element.valueBegin < 3 ||
      std::memcmp(text + element.valueBegin, u"VQ_", 3 * sizeof(char16_t)))
    return HDRPARS_E_WRONG_FORMAT;
  do {
    read = ReadFileElement(file, index, element.next, element, scan);
    if (read) return read;
    if (scan != Scan::kFound) return HDRPARS_E_WRONG_FORMAT;
  } while (!NameIs(file.chars(), element, u"HEADER"));
  begin = element.valueBegin;
  end = element.valueEnd;
  return 0;
}

VQRESULT ReadStructure(const char *path, FileStructure **out) {
  FileText file;
  TextIndex index;
  size_t begin = 0, end = 0;
  VQRESULT result = file.Open(path);
  if (!result) result = FindHeader(file, index, begin, end);
  if (result) return result;
  // Opening a data block needs the place of the binary data; the text read shows it, or
  // where to search on.
  size_t binaryData = 0;
  const bool binaryFound = index.BinaryData(binaryData);
  // Every NUL the tree writes into the text lies before the end of HEADER's value.
  char16_t *text = file.Release(end);
  TreeStore *store = text ? sc::hdr::NewTreeStore(text, end) : nullptr;
  if (!store) return HDRPARS_E_OUT_OF_MEMORY;
  store->binaryData = binaryData;
  store->binaryFound = binaryFound;
  store->structure.path = sc::hdr::WidePathFromBytes(path);
  result = store->structure.path
               ? TreeBuilder(*store, index).Build(begin, end, &store->structure.tags)
               : HDRPARS_E_OUT_OF_MEMORY;
  if (!result && !sc::hdr::RegisterTreeStore(store)) result = HDRPARS_E_OUT_OF_MEMORY;
  if (result) {
    sc::RawFree(store->structure.path);
    sc::hdr::FreeUnregisteredTreeStore(store);
    return result;
  }
  *out = &store->structure;
  return 0;
}

}  // namespace

extern "C" {

SC_API VQRESULT hdrpars_ReadFileHeader(const char *path, FileStructure **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = nullptr;
  if (!path) return HDRPARS_E_INVALID_ARGUMENT;
  return ReadStructure(path, out);
}

SC_API VQRESULT hdrpars_FindTag(Tag *first, const char16_t *name, Tag **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = name ? sc::hdr::FindSibling(first, name) : nullptr;
  return 0;
}

}  // extern "C"
