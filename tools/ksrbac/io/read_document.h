#ifndef KSRBAC_IO_READ_DOCUMENT_H
#define KSRBAC_IO_READ_DOCUMENT_H

#include <cstddef>
#include <functional>
#include <string>

#include <jansson.h>

namespace ksrbac {

struct DocumentLimit {
    std::size_t bytes;
    const char* text; ///< the same for messages: "64 MiB"
};

/// Gives `read` the JSON document in a file, or in standard input for "-". Throws `InputError`, which names
/// the input, when it cannot be read, is not JSON, or `read` throws one.
void readDocument(const std::string& path, const DocumentLimit& limit,
                  const std::function<void(json_t* document)>& read);

} // namespace ksrbac

#endif
