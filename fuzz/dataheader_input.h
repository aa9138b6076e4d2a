// One input of the data header fuzz target, shared by the fuzzer and the corpus replay test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace sc::fuzz {

// Writes the bytes as a file and reads it, opens and maps every data block it names, writes
// what it read to a second file and reads that back. Returns false with a description when
// something that must hold did not: blocks left behind, or a written file that reads back
// differently.
bool CheckDataHeaderInput(const uint8_t *data, size_t size, std::string &problem);

}  // namespace sc::fuzz
