// Tag trees: making and searching them (tree_store.h frees them).
#pragma once

#include <string_view>

#include "sc_hdrpars.h"

namespace sc::hdr {

inline constexpr std::u16string_view kDataBlockName = u"DATABLOCK";
inline constexpr std::u16string_view kBrokerStringName = u"BROKERSTRING";
inline constexpr std::u16string_view kOffsetName = u"OFFSET";
inline constexpr std::u16string_view kSizeName = u"SIZE";

// A new childless tag with copies of both strings (malloc blocks), or null when out of memory.
Tag *NewTag(std::u16string_view name, std::u16string_view value);
// The first of first and its following siblings with this name, or null.
Tag *FindSibling(Tag *first, std::u16string_view name);
// The first DATABLOCK among the siblings whose BROKERSTRING equals name. A DATABLOCK met on
// the way without BROKERSTRING gives the tag-missing code; none left, the not-found code.
VQRESULT FindBlockDescription(Tag *first, std::u16string_view name, Tag **out);

}  // namespace sc::hdr
