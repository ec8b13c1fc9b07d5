// Records of a data file: fixed length, behind 4-byte descriptors (a 2-byte
// length, big- or little-endian, that counts the descriptor or the data
// alone, then two zero bytes), or lines of text. The whole-file check walks
// the chain or the lines; the reader reads big blocks and hands out records
// in place.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "load/frames.h"

namespace {

constexpr size_t block = size_t{4} << 20;       // bytes read at a time
constexpr uint32_t largest_record = 16u << 20;  // a fixed record length beyond this is refused

// Data length behind the descriptor d, or -1 when d is not one under f.
long descriptor_length(const Framing &f, const unsigned char *d)
{
    if (d[2] != 0 || d[3] != 0)
        return -1;
    long n = f.little ? d[0] | d[1] << 8 : d[0] << 8 | d[1];
    if (!f.data_length)
        n -= 4;
    return n;
}

// Length of the block behind the block descriptor d, its 4 bytes counted,
// or -1 when d is not one under f.
long block_length(const Framing &f, const unsigned char *d)
{
    long n;
    if (!f.block_little && (d[0] & 0x80))  // the extended form, for blocks past 32,767 bytes
        n = static_cast<long>(d[0] & 0x7F) << 24 | d[1] << 16 | d[2] << 8 | d[3];
    else if (d[2] != 0 || d[3] != 0)
        return -1;
    else
        n = f.block_little ? d[0] | d[1] << 8 : d[0] << 8 | d[1];
    return n >= 4 ? n : -1;
}

// "AA BB CC DD": the 4 bytes of a descriptor, for messages.
std::string hex4(const unsigned char *d)
{
    char hex[16];
    std::snprintf(hex, sizeof hex, "%02X %02X %02X %02X", d[0], d[1], d[2], d[3]);
    return hex;
}

// Reads the file through a window of whole blocks, for the chain walk.
struct Window {
    int fd;
    uint64_t size;
    unsigned char *buf;
    uint64_t start = 0, len = 0;
    // The 4 bytes at pos, or null when they pass the end or cannot be read.
    const unsigned char *at(uint64_t pos)
    {
        if (pos + 4 > size)
            return nullptr;
        if (pos < start || pos + 4 > start + len) {
            start = pos;
            ssize_t n = pread(fd, buf, block, static_cast<off_t>(pos));
            len = n > 0 ? static_cast<uint64_t>(n) : 0;
            if (len < 4)
                return nullptr;
        }
        return buf + (pos - start);
    }
};

// Walks the chain, block by block with blocks; "" when it ends exactly at
// the end of the file (and of every block).
std::string walk(Window &w, const Framing &f, uint64_t &records)
{
    uint64_t pos = 0, blocks = 0;
    uint64_t end = f.blocks ? 0 : w.size;  // the end of the block in hand
    records = 0;
    while (pos < w.size) {
        const unsigned char *d = w.at(pos);
        if (pos == end) {
            std::string where = "block " + std::to_string(blocks + 1) + " at byte " + std::to_string(pos);
            if (!d)
                return where + ": the file ends inside its descriptor (" + std::to_string(w.size - pos) + " bytes left)";
            long n = block_length(f, d);
            if (n < 0)
                return where + ": " + hex4(d) + " is not a block descriptor";
            if (pos + static_cast<uint64_t>(n) > w.size)
                return where + ": its " + std::to_string(n) + " bytes pass the end of the file by " +
                       std::to_string(pos + static_cast<uint64_t>(n) - w.size);
            end = pos + static_cast<uint64_t>(n);
            pos += 4;
            blocks++;
            continue;
        }
        std::string where = "record " + std::to_string(records + 1) + " at byte " + std::to_string(pos);
        const char *what = f.blocks ? "its block" : "the file";
        if (!d || pos + 4 > end)
            return where + ": " + what + " ends inside its descriptor (" + std::to_string(end - pos) + " bytes left)";
        long n = descriptor_length(f, d);
        if (n < 0)
            return where + ": " + hex4(d) + " is not a descriptor";
        if (pos + 4 + static_cast<uint64_t>(n) > end)
            return where + ": its " + std::to_string(n) + " bytes pass the end of " + what + " by " +
                   std::to_string(pos + 4 + static_cast<uint64_t>(n) - end);
        pos += 4 + static_cast<uint64_t>(n);
        records++;
    }
    return "";
}

// Walks the lines; "" when none is longer than the record length. A CR in
// front of the LF is the line end's, and the last line may lack its LF.
std::string walk_lines(Window &w, const Framing &f, uint64_t &records)
{
    records = 0;
    uint64_t start = 0;  // where the line in hand starts
    unsigned char before = 0;  // the byte in front of the block
    auto too_long = [&](uint64_t length) {
        return "record " + std::to_string(records + 1) + " at byte " + std::to_string(start) + ": a line of " +
               std::to_string(length) + " bytes, longer than the record length " + std::to_string(f.record_length);
    };
    w.start = w.len = 0;  // the window's bytes are gone once the blocks pass through its buffer
    for (uint64_t at = 0; at < w.size;) {
        ssize_t n = pread(w.fd, w.buf, block, static_cast<off_t>(at));
        if (n <= 0)
            return "cannot read byte " + std::to_string(at);
        const unsigned char *end = w.buf + n;
        for (const unsigned char *p = w.buf;; ++p) {
            p = static_cast<const unsigned char *>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
            if (p == nullptr)
                break;
            uint64_t nl = at + static_cast<uint64_t>(p - w.buf);
            uint64_t length = nl - start - (nl > start && (p > w.buf ? p[-1] : before) == '\r');
            if (length > f.record_length)
                return too_long(length);
            records++;
            start = nl + 1;
        }
        before = end[-1];
        at += static_cast<uint64_t>(n);
        if (at < w.size && at - start > f.record_length + uint64_t{1})  // no line end can come soon enough
            return too_long(at - start) + " and more";
    }
    if (start < w.size) {
        uint64_t length = w.size - start - (before == '\r');
        if (length > f.record_length)
            return too_long(length);
        records++;
    }
    return "";
}

// "; the file fits ... (N records)" for the first other framing that fits
// the file: descriptors in each convention, lines (in a file that ends with a
// line end), fixed records of the record length (where not even the first
// line fits); "" when none does. good: records of f before the break.
std::string other_fit(Window &w, const Framing &f, uint64_t good)
{
    uint64_t n;
    for (int k = 0; k < 8; k++) {
        Framing other;
        other.descriptors = true;
        other.little = k & 1;
        other.data_length = k & 2;
        other.blocks = k & 4;
        other.block_little = other.blocks && f.block_little;
        if ((f.descriptors && other.little == f.little && other.data_length == f.data_length &&
             other.blocks == f.blocks) ||
            !walk(w, other, n).empty())
            continue;
        return "; the file fits " + framing_name(other) + " exactly (" + std::to_string(n) + " records)";
    }
    if (f.record_length == 0)
        return "";
    Framing other;
    other.record_length = f.record_length;
    unsigned char last = 0;
    if (pread(w.fd, &last, 1, static_cast<off_t>(w.size - 1)) == 1 && last == '\n') {  // text
        other.lines = true;
        if (!f.lines && walk_lines(w, other, n).empty())
            return "; the file fits --lines (" + std::to_string(n) + " records)";
    } else if ((f.descriptors || (f.lines && good == 0)) && w.size % f.record_length == 0) {
        return "; the file fits " + framing_name(other) + " exactly (" + std::to_string(w.size / f.record_length) +
               " records)";
    }
    return "";
}

}  // namespace

// The options that choose this framing, or the fixed record length.
std::string framing_name(const Framing &f)
{
    if (f.lines)
        return "--lines";
    if (!f.descriptors)
        return "fixed records of " + std::to_string(f.record_length) + " bytes";
    return std::string(f.blocks ? (f.block_little ? "--bdw=little " : "--bdw ") : "") +
           (f.little ? "--rdw=little" : "--rdw") + (f.data_length ? " --rdw-length data" : "");
}

// The size, the whole chain or every line; when that fails, the other framings that fit.
FrameCheck check_framing(int fd, const Framing &f)
{
    FrameCheck c;
    struct stat st;
    if (fstat(fd, &st) != 0) {
        c.error = std::strerror(errno);
        return c;
    }
    if (!S_ISREG(st.st_mode)) {
        c.error = "not a regular file, so its framing cannot be checked before the load";
        return c;
    }
    c.file_size = static_cast<uint64_t>(st.st_size);
    if (!f.descriptors && (f.record_length == 0 || f.record_length > largest_record)) {
        c.error = "record length " + std::to_string(f.record_length) + " out of range";
        return c;
    }
    Window w{fd, c.file_size, static_cast<unsigned char *>(std::malloc(block))};
    if (!w.buf) {
        c.error = "out of memory";
        return c;
    }
    bool nested = false;
    if (f.lines) {
        c.error = walk_lines(w, f, c.records);
        c.ok = c.error.empty();
    } else if (!f.descriptors) {
        c.records = c.file_size / f.record_length;
        uint64_t rest = c.file_size % f.record_length;
        c.ok = rest == 0;
        if (!c.ok)
            c.error = std::to_string(c.file_size) + " bytes are not a multiple of the record length " +
                      std::to_string(f.record_length) + ": " + std::to_string(c.records) +
                      " records, then a partial record of " + std::to_string(rest) + " bytes at byte " +
                      std::to_string(c.file_size - rest);
    } else {
        c.error = walk(w, f, c.records);
        c.ok = c.error.empty();
        Framing blocked = f;
        blocked.blocks = true;
        uint64_t n;
        nested = c.ok && !f.blocks && c.records > 0 && walk(w, blocked, n).empty();
        if (nested) {  // block descriptors read as record descriptors
            c.ok = false;
            c.error = "every record holds a chain of descriptors: the file fits " + framing_name(blocked) + " (" +
                      std::to_string(n) + " records)";
        }
    }
    if (!c.ok && c.file_size > 0 && !nested)
        c.error += other_fit(w, f, c.records);
    std::free(w.buf);
    return c;
}

// The buffer and the file go with the reader.
RecordReader::~RecordReader()
{
    std::free(buf_);
    if (fd_ >= 0)
        close(fd_);
}

// Makes at least need bytes stand at buf_[pos_]; false at the end of the file.
bool RecordReader::fill(size_t need)
{
    if (end_ - pos_ >= need)
        return true;
    std::memmove(buf_, buf_ + pos_, end_ - pos_);
    end_ -= pos_;
    pos_ = 0;
    while (end_ < need && !eof_) {
        ssize_t n = read(fd_, buf_ + end_, cap_ - end_);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            error = std::strerror(errno);
            return false;
        }
        eof_ = n == 0;
        end_ += static_cast<size_t>(n);
    }
    return end_ >= need;
}

// Passes over n bytes, by seeking when they lie beyond the buffer.
bool RecordReader::skip_bytes(uint64_t n)
{
    file_pos_ += n;
    if (n <= end_ - pos_) {
        pos_ += n;
        return true;
    }
    pos_ = end_ = 0;
    eof_ = false;
    if (lseek(fd_, static_cast<off_t>(file_pos_), SEEK_SET) < 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

// A fixed file seeks straight to its first record; a descriptor file walks to it.
bool RecordReader::open(int fd, const Framing &f, const RecordRange &range)
{
    fd_ = fd;
    framing_ = f;
    range_ = range;
    if (!f.descriptors && (f.record_length == 0 || f.record_length > largest_record)) {
        error = "record length " + std::to_string(f.record_length) + " out of range";
        return false;
    }
    cap_ = block + (f.descriptors ? 65536 + 4 : f.record_length + 2);
    buf_ = static_cast<unsigned char *>(std::malloc(cap_));
    if (!buf_) {
        error = "out of memory";
        return false;
    }
    if (lseek(fd_, 0, SEEK_SET) < 0) {
        error = std::strerror(errno);
        return false;
    }
    if (!f.descriptors && !f.lines) {  // the first whole record at or behind start_byte
        uint64_t first = (range.start_byte + f.record_length - 1) / f.record_length + range.skip;
        range_.skip = 0;
        if (first > (uint64_t{1} << 62) / f.record_length)  // far past any file: nothing to read
            range_.count = 0;
        if (range_.count == 0)
            return true;
        number_ = first;
        return skip_bytes(first * f.record_length);
    }
    return true;
}

// The line at buf_[pos_]: its length without the line end, and with it.
bool RecordReader::next_line(size_t &length, size_t &advance)
{
    size_t most = size_t{framing_.record_length} + 2;
    fill(most);  // fewer at the end of the file
    if (!error.empty())
        return false;
    const unsigned char *p = buf_ + pos_;
    size_t have = std::min(end_ - pos_, most);
    const void *nl = std::memchr(p, '\n', have);
    if (nl) {
        advance = static_cast<size_t>(static_cast<const unsigned char *>(nl) - p) + 1;
        length = advance - 1;
    } else {
        advance = length = have;
    }
    if (length > 0 && p[length - 1] == '\r')
        length--;
    if (length > framing_.record_length) {
        error = "record " + std::to_string(number_ + 1) + " at byte " + std::to_string(file_pos_) +
                ": a line longer than the record length (the file changed?)";
        return false;
    }
    return true;
}

// Walks descriptors, lines or fixed records; those before the range are passed over unread.
bool RecordReader::next(Record &rec)
{
    for (;;) {
        if (delivered_ >= range_.count || file_pos_ >= range_.end_byte)
            return false;
        size_t head = framing_.descriptors ? 4 : 0;
        if (!fill(head ? 4 : 1))
            return false;
        if (framing_.blocks && file_pos_ == block_end_) {  // the next block's descriptor
            long n = block_length(framing_, buf_ + pos_);
            if (n < 0) {
                error = "block at byte " + std::to_string(file_pos_) + ": not a block descriptor (the file changed?)";
                return false;
            }
            block_end_ = file_pos_ + static_cast<uint64_t>(n);
            if (!skip_bytes(4))
                return false;
            continue;
        }
        size_t n = framing_.record_length, advance = n;
        if (head) {
            long len = descriptor_length(framing_, buf_ + pos_);
            if (len < 0) {
                error = "record " + std::to_string(number_ + 1) + " at byte " + std::to_string(file_pos_) +
                        ": not a descriptor (the file changed?)";
                return false;
            }
            n = static_cast<size_t>(len);
            advance = head + n;
        } else if (framing_.lines && !next_line(n, advance)) {
            return false;
        }
        number_++;
        bool wanted = file_pos_ >= range_.start_byte && number_ > 0;
        if (wanted && range_.skip > 0) {
            range_.skip--;
            wanted = false;
        }
        if (!wanted) {
            if (!skip_bytes(advance))
                return false;
            continue;
        }
        if (!fill(advance)) {
            if (error.empty())
                error = "the file ends inside record " + std::to_string(number_) + " (the file changed?)";
            return false;
        }
        rec.raw = buf_ + pos_;
        rec.raw_size = static_cast<uint32_t>(head + n);
        rec.data = rec.raw + head;
        rec.size = static_cast<uint32_t>(n);
        if (framing_.lines) {  // a line-sequential record is read padded with blanks
            padded_.assign(reinterpret_cast<const char *>(rec.raw), n);
            padded_.resize(framing_.record_length, ' ');
            rec.data = reinterpret_cast<const unsigned char *>(padded_.data());
            rec.size = framing_.record_length;
        }
        rec.number = number_;
        rec.offset = file_pos_;
        pos_ += advance;
        file_pos_ += advance;
        delivered_++;
        return true;
    }
}
