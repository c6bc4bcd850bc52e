#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_STOPPEDREADER_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_STOPPEDREADER_H

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace keepsafe_test {

/// Holds a lock file's byte as a process does that was stopped at the worst moment, until its end.
class StoppedReader {
public:
    static constexpr off_t GATE = off_t{1} << 62U;
    static constexpr off_t DATA = GATE + 1;

    explicit StoppedReader(const std::string& path, off_t byte = DATA)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = byte;
        lock.l_len = 1;
        EXPECT_EQ(::fcntl(descriptor_, F_OFD_SETLKW, &lock), 0) << path;
    }
    ~StoppedReader() { ::close(descriptor_); }
    StoppedReader(const StoppedReader&) = delete;
    StoppedReader& operator=(const StoppedReader&) = delete;

private:
    int descriptor_;
};

} // namespace keepsafe_test

#endif
