// Record sources: a data file cut into records, of fixed length, behind
// 4-byte record descriptor words in either byte order, the length counting
// the descriptor or the data alone, or as lines of text. The framing is
// checked against the whole file before a load; a range of whole records is
// then read in big blocks.
#pragma once

#include <cstdint>
#include <string>

// How a file is cut into records.
struct Framing {
  bool descriptors = false;   // records behind 4-byte descriptors
  bool blocks = false;        // ... in blocks behind 4-byte block descriptors (BDW): a
                              // length that counts them, big-endian (the top bit set: 31
                              // bits of it), then two zero bytes
  bool block_little = false;  // the block length little-endian (bytes 0-1)
  bool little = false;        // descriptor length little-endian (bytes 0-1)
  bool data_length = false;   // the length counts the data alone, not the 4 bytes
  bool lines = false;         // records are lines ending in LF (CR LF too), as a
                              // line-sequential file holds them: a shorter line is
                              // padded with blanks to the record length
  uint32_t record_length = 0; // fixed records: bytes each (from the FILE row); lines: the most
};

// Which records to read, always whole ones: the records that start at a byte
// offset in [start_byte, end_byte) (a shard), then of those the ones left
// after skipping skip, at most count.
struct RecordRange {
  uint64_t start_byte = 0;
  uint64_t end_byte = UINT64_MAX;
  uint64_t skip = 0;
  uint64_t count = UINT64_MAX;
};

// One record; data points into the reader's buffers until the next call.
struct Record {
  const unsigned char *data = nullptr;  // the record's bytes (a line padded with blanks)
  uint32_t size = 0;                    // bytes of data
  const unsigned char *raw = nullptr;   // the record as the file holds it: its descriptor
  uint32_t raw_size = 0;                // in front, or a line without its line end
  uint64_t number = 0;                  // 1-based, counted from the start of the file
  uint64_t offset = 0;                  // byte offset of the record (its descriptor) in the file
};

// What the whole-file check found.
struct FrameCheck {
  bool ok = false;
  uint64_t records = 0;      // records in the file, when ok
  uint64_t file_size = 0;
  std::string error;         // where the framing breaks, and which other convention fits
};

// Command-line spelling of a framing, for messages: "--rdw=little --rdw-length data".
std::string framing_name(const Framing &f);

// The most bytes of data one record can have under a framing.
inline uint32_t longest_record(const Framing &f) { return f.descriptors ? 65535 : f.record_length; }

// Checks the framing against the whole file open as fd (read from the start).
FrameCheck check_framing(int fd, const Framing &f);

// Reads the records of a range from a file, in big blocks; streaming, so
// memory does not grow with the file.
class RecordReader {
 public:
  RecordReader() = default;
  RecordReader(const RecordReader &) = delete;
  RecordReader &operator=(const RecordReader &) = delete;
  ~RecordReader();
  // Takes fd (closed by the reader) and positions it at the range's first record.
  bool open(int fd, const Framing &f, const RecordRange &range);
  // The next record of the range; false at its end or on an error (error set).
  bool next(Record &rec);
  std::string error;

 private:
  bool fill(size_t need);
  bool skip_bytes(uint64_t n);
  int fd_ = -1;
  Framing framing_;
  RecordRange range_;
  bool next_line(size_t &length, size_t &advance);
  unsigned char *buf_ = nullptr;  // block buffer
  std::string padded_;            // a line padded to the record length
  size_t cap_ = 0, pos_ = 0, end_ = 0;
  uint64_t file_pos_ = 0;         // file offset of buf_[pos_]
  uint64_t block_end_ = 0;        // where the block in hand ends (blocks only)
  uint64_t number_ = 0;           // number of the last record read
  uint64_t delivered_ = 0;
  bool eof_ = false;
};
