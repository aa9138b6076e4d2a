// Debug data files: buffers dumped to text files and replayed from them.
#pragma once

#include <cstdint>

#include "sc_dbg.h"

namespace sc::dbg {

// Reads VQ_OUTPATH and VQ_INPATH and opens the files of the output specs, then of the input
// specs, after those already registered. Returns the dbg_Init status.
int RegisterDataFiles(uint32_t inputCount, const DBG_DATAFILE_SPEC *inputSpecs,
                      uint32_t outputCount, const DBG_DATAFILE_SPEC *outputSpecs);

// Ends every output file with the closing banner (or deletes it when nothing was written to
// it), closes the input files and forgets all specs.
void CloseDataFiles();

}  // namespace sc::dbg
