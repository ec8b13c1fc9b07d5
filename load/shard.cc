// The arithmetic of shards: N ranges that follow one another, each record
// in exactly one, computed without overflow for any file size.
#include "load/shard.h"

#include <cstdlib>

namespace {

// More shards than this are no use and would let k * (total % n) overflow.
const uint64_t kMaxShards = 1u << 30;

// floor(total * k / n), for k <= n, without a product of 128 bits.
uint64_t share(uint64_t total, uint64_t k, uint64_t n)
{
    return total / n * k + total % n * k / n;
}

// A whole number of decimal digits alone; false for anything else.
bool read_number(const std::string &s, uint64_t &v)
{
    if (s.empty() || s.size() > 19 || s.find_first_not_of("0123456789") != std::string::npos)
        return false;
    v = std::strtoull(s.c_str(), nullptr, 10);
    return true;
}

} // namespace

bool parse_shard(const char *text, Shard &shard, std::string &error)
{
    std::string s = text;
    size_t slash = s.find('/');
    uint64_t k = 0, n = 0;
    if (slash == std::string::npos || !read_number(s.substr(0, slash), k) ||
        !read_number(s.substr(slash + 1), n)) {
        error = "--shard " + s + ": give K/N, such as 2/8";
        return false;
    }
    if (n < 1 || n > kMaxShards) {
        error = "--shard " + s + ": N must be 1 to " + std::to_string(kMaxShards);
        return false;
    }
    if (k < 1 || k > n) {
        error = "--shard " + s + ": K must be 1 to " + std::to_string(n);
        return false;
    }
    shard.k = k;
    shard.n = n;
    return true;
}

void shard_bytes(const Shard &shard, uint64_t file_size, const Framing &framing, uint64_t &start_byte,
                 uint64_t &end_byte)
{
    if (!framing.descriptors && !framing.lines && framing.record_length > 0) {
        uint64_t records = file_size / framing.record_length;
        start_byte = share(records, shard.k - 1, shard.n) * framing.record_length;
        end_byte = share(records, shard.k, shard.n) * framing.record_length;
    } else {
        start_byte = share(file_size, shard.k - 1, shard.n);
        end_byte = share(file_size, shard.k, shard.n);
    }
    if (shard.k == shard.n)
        end_byte = UINT64_MAX; // the last shard takes whatever the others do not
}
