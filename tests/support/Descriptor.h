#ifndef KEEPSAFE_TESTS_SUPPORT_DESCRIPTOR_H
#define KEEPSAFE_TESTS_SUPPORT_DESCRIPTOR_H

#include <array>
#include <string>

namespace keepsafe_test {

/// Owns an open descriptor, or none (-1).
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const noexcept { return number_; }
    void close() noexcept;

private:
    int number_;
};

/// Opens a file, which is made for its owner alone when the flags say O_CREAT. Programs that are started do
/// not get the descriptor. Throws `std::system_error` with the path.
Descriptor openFile(const std::string& path, int flags);

/// Both ends of a pipe, which programs that are started do not get. Throws `std::system_error`.
struct Pipe {
    Pipe() : Pipe(open()) {}
    Descriptor readEnd;
    Descriptor writeEnd;

private:
    explicit Pipe(const std::array<int, 2>& ends) : readEnd(ends[0]), writeEnd(ends[1]) {}
    static std::array<int, 2> open();
};

/// Waits for a whole line and returns it without its line feed, or what there was at the end of the input.
std::string readLine(const Descriptor& input);
/// Waits for the end of the input.
std::string readAll(const Descriptor& input);

} // namespace keepsafe_test

#endif
