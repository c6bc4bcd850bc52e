#include "cachewriter/CachePublisher.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/filelock/FileLock.h>

#include "cachewriter/ManifestFile.h"
#include "cachewriter/errors.h"
#include "cachewriter/metadata.h"

namespace keepsafe_sandbox {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

/// One write holds up the kernel's bookkeeping for a file for as long as it takes, so large files go in
/// pieces.
constexpr std::size_t WRITE_PIECE = std::size_t{4} << 20U;

template <typename Record>
std::string_view bytesOf(const std::vector<Record>& records)
{
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(Record)};
}

/// The record files of a directory with the content that they are to get.
class RecordFiles {
public:
    RecordFiles(FileSystem& fileSystem, const std::string& directory, const CacheImage& image)
        : fileSystem_(fileSystem)
    {
        add(directory, AccessCache::OBJECT_FILE_NAME, bytesOf(image.objects));
        add(directory, AccessCache::NODE_FILE_NAME, bytesOf(image.nodes));
        add(directory, AccessCache::SEGMENT_FILE_NAME, bytesOf(image.segments));
        add(directory, AccessCache::AD_COUNT_FILE_NAME, bytesOf(image.counts));
    }

    void allocate()
    {
        for (const Content& content : contents_) {
            fileSystem_.allocate(content.file, content.bytes.size());
        }
    }

    void write()
    {
        for (const Content& content : contents_) {
            for (std::size_t done = 0; done < content.bytes.size(); done += WRITE_PIECE) {
                fileSystem_.write(content.file, done, content.bytes.substr(done, WRITE_PIECE));
            }
        }
        for (const Content& content : contents_) {
            fileSystem_.sync(content.file);
        }
    }

private:
    struct Content {
        OpenFile file;
        std::string_view bytes;
    };

    void add(const std::string& directory, const std::string& name, std::string_view bytes)
    {
        contents_.push_back({fileSystem_.openOrCreate(directory + "/" + name), bytes});
    }

    FileSystem& fileSystem_;
    std::vector<Content> contents_;
};

/// The file "metadata" at work.
class MetadataFile {
public:
    MetadataFile(FileSystem& fileSystem, const std::string& directory)
        : fileSystem_(fileSystem),
          file_(fileSystem.openOrCreate(directory + "/" + AccessCache::METADATA_FILE_NAME)),
          isComplete_(fileSize(file_) >= Metadata::SIZE),
          metadata_(Metadata::decode(readAt(file_, 0, Metadata::SIZE), file_.path()))
    {
    }

    void mark()
    {
        metadata_.writeInProgress = true;
        if (isComplete_) {
            writeFlag();
        } else {
            writeAll();
        }
    }

    /// Everything but the flag.
    void describe(const CacheImage& image)
    {
        ++metadata_.generation;
        metadata_.segmentRoot = image.segmentRoot;
        metadata_.objectRecords = static_cast<std::uint32_t>(image.objects.size());
        metadata_.nodeRecords = static_cast<std::uint32_t>(image.nodes.size());
        metadata_.segmentRecords = static_cast<std::uint32_t>(image.segments.size());
        metadata_.countRecords = static_cast<std::uint32_t>(image.counts.size());
        metadata_.accessDefinitions =
            std::accumulate(image.counts.begin(), image.counts.end(), std::uint64_t{0});
        writeAll();
    }

    std::uint64_t unmark()
    {
        metadata_.writeInProgress = false;
        writeFlag();
        return metadata_.generation;
    }

private:
    void writeAll()
    {
        fileSystem_.write(file_, 0, metadata_.encode());
        fileSystem_.sync(file_);
    }

    void writeFlag()
    {
        fileSystem_.write(file_, Metadata::WRITE_IN_PROGRESS_OFFSET,
                          metadata_.writeInProgress ? std::string_view("\1", 1) : std::string_view("\0", 1));
        fileSystem_.sync(file_);
    }

    FileSystem& fileSystem_;
    OpenFile file_;
    bool isComplete_;
    Metadata metadata_;
};

} // namespace

std::uint64_t CachePublisher::publish(const std::string& directory, const ObjectNamespace& covers,
                                      const CacheImage& image, const std::function<void()>& whileMarked)
{
    fileSystem_.createDirectories(directory);
    // The lock is on the manifest, so the manifest has to be there first; without content it is refused.
    const OpenFile manifest = fileSystem_.openOrCreate(directory + "/" + AccessCache::MANIFEST_FILE_NAME);
    const FileLock lock = FileLockManager::instance().getLock(manifest.path());
    const FileLockGuard guard(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);

    MetadataFile metadata(fileSystem_, directory);
    RecordFiles records(fileSystem_, directory, image);
    records.allocate();

    try {
        metadata.mark();
        if (whileMarked) {
            whileMarked();
        }
        records.write();
        metadata.describe(image);
        updateManifest(fileSystem_, manifest, covers);
        fileSystem_.syncDirectory(directory);
        return metadata.unmark();
    } catch (const PublishError& error) {
        throw PublishError(std::string(error.what()) + "; until it is published again, readers refuse " +
                           directory);
    }
}

} // namespace keepsafe_sandbox
