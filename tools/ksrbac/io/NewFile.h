#ifndef KSRBAC_IO_NEWFILE_H
#define KSRBAC_IO_NEWFILE_H

#include <string>
#include <string_view>

#include "Descriptor.h"
#include "io/ByteSink.h"

namespace ksrbac {

/// A file that appears under its name with its whole content and mode 0644, whatever the umask is, or not at
/// all. It takes the place of a file or of a symbolic link, never of what a link leads to. A device or a pipe
/// is written as it is.
class NewFile final : public ByteSink {
public:
    /// Throws `InputError` when the file cannot be created.
    explicit NewFile(std::string path);
    ~NewFile() override;
    void write(std::string_view bytes) override;
    /// Gives the file its name. Throws `OutputError`.
    void publish();

private:
    std::string path_;
    std::string temporary_; ///< the file's name until it is published; empty if it has none
    Tessara::Keepsafe::Process::Descriptor file_;
};

} // namespace ksrbac

#endif
