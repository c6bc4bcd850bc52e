#include <keepsafe/jwt/JWTUtil.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <utility>

#include <fcntl.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "debug_messages.h"
#include "read_file.h"
#include "token_parts.h"

namespace Tessara::Keepsafe {

namespace {

/// The key file's place under the installation root.
constexpr char PUBLIC_KEY_FILE[] = "/var/global/tssec/jwtkeys/jwtPublicKey";

constexpr char LOAD_KEY_TAG[] = "JWTSSLApi::loadJwtPublicKey";
constexpr char OPENED[] = "successfully opened jwt public key file";
constexpr char READ[] = "successfully read jwt public key file";

/// A file that is longer has no end, as a device has, or is not one with a key.
constexpr std::size_t LONGEST_KEY = std::size_t{16} << 20U;

/// Reads a whole file, or nothing. Returns 0, or the failure of `openTrustedFile` or `readAll`.
int readPlainly(const std::string& path, std::string& text)
{
    int failure = 0;
    const Process::Descriptor file = Process::openTrustedFile(path, failure);
    std::string content;
    if (file.isOpen()) {
        failure = Process::readAll(file, content, LONGEST_KEY);
    }
    if (failure == 0) {
        text = std::move(content);
    }
    return failure;
}

/// Appends the rest of the file. A file that cannot be read, or is too long, raises `std::ios::failure`.
void readAll(std::filebuf& file, std::string& text)
{
    std::array<char, 4096> chunk;
    std::streamsize size = 0;
    do {
        size = file.sgetn(chunk.data(), chunk.size());
        text.append(chunk.data(), static_cast<std::size_t>(size));
        if (text.size() > LONGEST_KEY) {
            throw std::ios::failure("the file is too long");
        }
    } while (size == static_cast<std::streamsize>(chunk.size()));
}

/// Reads the file as a stream, whose exceptions describe what is wrong.
int readAsStream(const std::string& path, std::string& key)
{
    std::ifstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.rdbuf()->pubsetbuf(nullptr, 0); // read in chunks below: the stream's buffer would only add a copy
    try {
        file.open(path);
    } catch (const std::ios::failure& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, LOAD_KEY_TAG, "failed to open jwt public key file. Error = %s ",
                failure.what());
        return Status::CACHE_UNUSABLE;
    }
    debugMessage(LOAD_KEY_TAG, OPENED);

    int status = Status::SUCCESS;
    std::string text;
    try {
        readAll(*file.rdbuf(), text);
        debugMessage(LOAD_KEY_TAG, READ);
    } catch (const std::ios::failure& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, LOAD_KEY_TAG, "failed to read jwt public key file. Error = %s ",
                failure.what());
        status = Status::FILE_UNREADABLE;
    }
    key = std::move(text);
    return status;
}

} // namespace

int JWTUtil::tokenizeJWT(const std::string& token, std::vector<std::string>& parts)
{
    TokenParts found;
    if (!findParts(token, found)) {
        return Status::TOKEN_INVALID;
    }
    parts.emplace_back(found.header);
    parts.emplace_back(found.payload);
    parts.emplace_back(found.signature);
    const bool hasEmptyPart = parts[0].empty() || parts[1].empty() || parts[2].empty();
    return hasEmptyPart ? Status::TOKEN_INVALID : Status::SUCCESS;
}

int JWTUtil::loadJwtPublicKey(std::string& key)
{
    const std::string path = Platform::installationRoot() + PUBLIC_KEY_FILE;
    // A stream costs more than its system calls. A file that they cannot read is read by a stream again, for
    // its error message.
    const int failure = readPlainly(path, key);
    if (failure == Process::NOT_REGULAR || failure == Process::WORLD_WRITABLE) {
        // Not opened as a stream, which would wait for the writer of a FIFO, and trust anybody's key.
        logmsgf(Platform::LOG_LEVEL_ERROR, LOAD_KEY_TAG, "failed to open jwt public key file. Error = %s ",
                Process::failureText(failure).c_str());
        return Status::CACHE_UNUSABLE;
    }
    if (failure != 0) {
        return readAsStream(path, key);
    }
    debugMessage(LOAD_KEY_TAG, OPENED);
    debugMessage(LOAD_KEY_TAG, READ);
    return Status::SUCCESS;
}

} // namespace Tessara::Keepsafe
