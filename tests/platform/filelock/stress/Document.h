#ifndef KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_DOCUMENT_H
#define KEEPSAFE_TESTS_PLATFORM_FILELOCK_STRESS_DOCUMENT_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace filelock_stress {

/// The data under the lock, in shared memory: one generation of random words after the other, each with its
/// check sum. Atomic, so that a race is a figure of the run and no undefined behaviour.
struct Document {
    static constexpr std::size_t WORDS = 4096;

    std::atomic<bool> writeInProgress;
    std::atomic<pid_t> writer; ///< the last one
    std::atomic<std::uint64_t> generation;
    std::atomic<std::uint64_t> checkSum;
    std::array<std::atomic<std::uint64_t>, WORDS> words;
};

/// Writes the next generation, also when a writer before has died in the middle of one. The caller holds the
/// lock exclusively.
void writeNextGeneration(Document& document) noexcept;

struct ReadFigures {
    std::atomic<std::int64_t> complete;
    std::atomic<std::int64_t> interrupted; ///< a writer has died in the middle of a generation
    std::atomic<std::int64_t> torn;        ///< somebody wrote meanwhile
    std::atomic<std::int64_t> backward;    ///< an older generation than before

    void add(const ReadFigures& others) noexcept;

    /// Prints them. Returns whether there was something to read and all of it was sound.
    [[nodiscard]] bool printAndCheck() const;
};

/// One thread's reading. The caller of `read` holds the lock shared.
class DocumentReader {
public:
    void read(const Document& document, ReadFigures& figures) noexcept;

private:
    std::uint64_t lastGeneration_ = 0;
};

} // namespace filelock_stress

#endif
