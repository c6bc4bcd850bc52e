#ifndef KEEPSAFE_TESTS_SUPPORT_PEAKMEMORY_H
#define KEEPSAFE_TESTS_SUPPORT_PEAKMEMORY_H

#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>

namespace keepsafe_test {

/// How much resident memory the process takes beyond what it had when this was made.
class PeakMemory {
public:
    PeakMemory()
    {
        std::ofstream("/proc/self/clear_refs") << "5"; // the peak begins again
        before_ = read("VmRSS:");
    }

    /// At its peak since then, and now; bytes.
    [[nodiscard]] std::size_t growth() const { return difference(read("VmHWM:")); }
    [[nodiscard]] std::size_t growthNow() const { return difference(read("VmRSS:")); }

private:
    static std::size_t read(const std::string& name)
    {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;) {
            std::size_t kib = 0;
            if (word == name && status >> kib) {
                return kib * 1024;
            }
        }
        throw std::runtime_error("/proc/self/status has no " + name);
    }
    [[nodiscard]] std::size_t difference(std::size_t now) const { return now > before_ ? now - before_ : 0; }

    std::size_t before_ = 0;
};

} // namespace keepsafe_test

#endif
