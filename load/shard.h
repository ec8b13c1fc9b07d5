// Shards: the K-th of N ranges of whole records of a file, so that N loads
// side by side, each in a transaction of its own, load the file once.
#pragma once

#include <cstdint>
#include <string>

#include "load/frames.h"

struct Shard {
    uint64_t k = 1; // 1-based
    uint64_t n = 1;
};

// Reads "K/N" (1 <= K <= N); false with the reason in error.
bool parse_shard(const char *text, Shard &shard, std::string &error);

// The bytes whose records belong to the shard: those that start in the
// range. Fixed records are dealt out by count, so shards differ by one record
// at most; descriptor-framed ones by bytes, found by walking the descriptors.
// The N ranges of a file follow one another from 0 to its size.
void shard_bytes(const Shard &shard, uint64_t file_size, const Framing &framing, uint64_t &start_byte,
                 uint64_t &end_byte);
