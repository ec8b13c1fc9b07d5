// The CSV target: one TABLE.csv per table (RFC 4180, UTF-8, CRLF, a header
// line of the column names), written under a temporary name in the same
// directory and renamed when complete; or one table on standard output.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "load/target.h"

namespace {

class CsvTarget : public Target {
 public:
    CsvTarget(std::string dir, bool replace, std::string suffix)
        : dir_(std::move(dir)), replace_(replace), suffix_(std::move(suffix)) {}
    ~CsvTarget() override { abort(); }
    bool begin_table(const TableSpec &table) override;
    bool row(const Value *values) override;
    bool commit() override;
    void abort() override;

 private:
    bool flush();
    void field(std::string_view text, bool quote_always);
    std::string dir_;
    bool replace_;
    std::string suffix_;          // in front of ".csv"
    int fd_ = -1;                 // the temporary file, or 1 for standard output
    std::string temp_, final_;
    const TableSpec *table_ = nullptr;
    std::string buf_;             // rows waiting to be written
};

// A text is quoted when it holds a separator, a quote or a line end, or is empty.
void CsvTarget::field(std::string_view text, bool quote_always)
{
    if (!quote_always && text.find_first_of(",\"\r\n") == std::string_view::npos) {
        buf_.append(text);
        return;
    }
    buf_ += '"';
    for (size_t at = 0;;) {
        size_t q = text.find('"', at);
        buf_.append(text.substr(at, q == std::string_view::npos ? q : q + 1 - at));
        if (q == std::string_view::npos)
            break;
        buf_ += '"';
        at = q + 1;
    }
    buf_ += '"';
}

// Writes the buffered rows, going on after interrupted writes.
bool CsvTarget::flush()
{
    for (size_t at = 0; at < buf_.size();) {
        ssize_t n = write(fd_, buf_.data() + at, buf_.size() - at);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            error = (fd_ == 1 ? std::string("standard output") : final_) + ": " + std::strerror(errno);
            return false;
        }
        at += static_cast<size_t>(n);
    }
    buf_.clear();
    return true;
}

// Refuses an existing TABLE.csv unless replace; writes to a hidden temporary file.
bool CsvTarget::begin_table(const TableSpec &table)
{
    table_ = &table;
    table_exists = false;
    if (dir_ == "-") {
        fd_ = 1;
    } else {
        if (table.name == "." || table.name == ".." || table.name.find('/') != std::string::npos) {
            error = "table name \"" + table.name + "\" cannot name a file";
            return false;
        }
        final_ = dir_ + "/" + table.name + suffix_ + ".csv";
        if (!replace_ && access(final_.c_str(), F_OK) == 0) {
            table_exists = true;
            error = final_ + " exists (--replace replaces it)";
            return false;
        }
        std::string pattern = dir_ + "/." + table.name + suffix_ + ".csv.XXXXXX";
        fd_ = mkstemp(&pattern[0]);
        if (fd_ < 0) {
            error = pattern + ": " + std::strerror(errno);
            return false;
        }
        temp_ = pattern;
        mode_t mask = umask(0);  // mkstemp makes the file private; give it the usual mode
        umask(mask);
        fchmod(fd_, 0666 & ~mask);
    }
    buf_.reserve(1 << 20);
    for (size_t i = 0; i < table.columns.size(); i++) {
        if (i)
            buf_ += ',';
        field(table.columns[i].name, false);
    }
    buf_ += "\r\n";
    return true;
}

// One line; NULL is an empty field, an empty text "".
bool CsvTarget::row(const Value *values)
{
    size_t n = table_->columns.size();
    for (size_t i = 0; i < n; i++) {
        if (i)
            buf_ += ',';
        if (!values[i].null)
            field(values[i].text, table_->columns[i].kind == ValueKind::text && values[i].text.empty());
    }
    buf_ += "\r\n";
    return buf_.size() < (1 << 20) || flush();
}

// Makes the file durable, then gives it its name; standard output is only flushed.
bool CsvTarget::commit()
{
    if (!flush())
        return false;
    if (fd_ != 1) {
        if (fsync(fd_) != 0 || close(fd_) != 0) {
            fd_ = -1;
            error = final_ + ": " + std::strerror(errno);
            return false;
        }
        fd_ = -1;
        if (rename(temp_.c_str(), final_.c_str()) != 0) {
            error = final_ + ": " + std::strerror(errno);
            return false;
        }
        temp_.clear();
    }
    fd_ = -1;
    return true;
}

// Drops the temporary file: an aborted table leaves no CSV behind.
void CsvTarget::abort()
{
    buf_.clear();
    if (fd_ > 1)
        close(fd_);
    fd_ = -1;
    if (!temp_.empty())
        unlink(temp_.c_str());
    temp_.clear();
}

}  // namespace

// A CSV target; the directory must be writable now, not at the first table.
std::unique_ptr<Target> open_csv_target(const std::string &dir, bool replace, std::string &error,
                                        const std::string &suffix)
{
    if (dir != "-" && access(dir.c_str(), W_OK) != 0) {
        error = dir + ": " + std::strerror(errno);
        return nullptr;
    }
    return std::make_unique<CsvTarget>(dir, replace, suffix);
}
