#include "cachewriter/CachePublisher.h"

#include <string_view>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/detail/records.h>

#include "cachewriter/ManifestFile.h"
#include "cachewriter/PublishError.h"
#include "cachewriter/metadata.h"
#include "files/FileError.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::detail::BitsNode;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;

namespace {

/// One write holds up the kernel's bookkeeping for a file for as long as it takes, so large files go in
/// pieces.
constexpr std::size_t WRITE_PIECE = std::size_t{4} << 20U;

/// A file that has to grow as objects are added one by one grows by this share more than it needs: whenever a
/// file's size changes, every reader maps it again.
constexpr std::uint64_t SPARE_SHARE = 64;

/// The record files of a directory.
class RecordFiles {
public:
    RecordFiles(FileSystem& fileSystem, const std::string& directory)
        : fileSystem_(fileSystem), objects_(open(directory, AccessCache::OBJECT_FILE_NAME)),
          nodes_(open(directory, AccessCache::NODE_FILE_NAME)),
          segments_(open(directory, AccessCache::SEGMENT_FILE_NAME)),
          counts_(open(directory, AccessCache::AD_COUNT_FILE_NAME))
    {
    }

    /// Whether no file is shorter than the header says.
    [[nodiscard]] bool hold(const Metadata& metadata) const
    {
        return holds(objects_, metadata.objectRecords, sizeof(ManagedObject)) &&
               holds(nodes_, metadata.nodeRecords, sizeof(BitsNode)) &&
               holds(segments_, metadata.segmentRecords, sizeof(SegmentNode)) &&
               holds(counts_, metadata.countRecords, sizeof(std::uint32_t));
    }

    void allocate(const CacheContent& content)
    {
        forEach(content, [&](const OpenFile& file, const FileContent& records) {
            if (content.isWhole) {
                fileSystem_.allocate(file, records.bytesInUse());
            } else if (fileSize(file) < records.bytesInUse()) {
                const std::uint64_t spare = records.records / SPARE_SHARE * records.recordBytes;
                fileSystem_.allocate(file, records.bytesInUse() + spare);
            }
        });
    }

    void write(const CacheContent& content)
    {
        forEach(content, [this](const OpenFile& file, const FileContent& records) {
            for (const FileRange& range : records.ranges) {
                write(file, range);
            }
        });
        // What is not written now has reached the disk with an earlier generation.
        forEach(content, [this](const OpenFile& file, const FileContent& records) {
            if (!records.ranges.empty()) {
                fileSystem_.sync(file);
            }
        });
    }

private:
    OpenFile open(const std::string& directory, const std::string& name)
    {
        return fileSystem_.openOrCreate(directory + "/" + name);
    }

    static bool holds(const OpenFile& file, std::uint32_t records, std::size_t recordBytes)
    {
        return fileSize(file) >= std::uint64_t{records} * recordBytes;
    }

    template <typename Work>
    void forEach(const CacheContent& content, const Work& work)
    {
        work(objects_, content.objects);
        work(nodes_, content.nodes);
        work(segments_, content.segments);
        work(counts_, content.counts);
    }

    void write(const OpenFile& file, const FileRange& range)
    {
        for (std::size_t done = 0; done < range.bytes.size(); done += WRITE_PIECE) {
            fileSystem_.write(file, range.offset + done, range.bytes.substr(done, WRITE_PIECE));
        }
    }

    FileSystem& fileSystem_;
    OpenFile objects_;
    OpenFile nodes_;
    OpenFile segments_;
    OpenFile counts_;
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

    [[nodiscard]] FoundCache found(const RecordFiles& records) const
    {
        return {metadata_.generation, !metadata_.writeInProgress && isComplete_ && records.hold(metadata_)};
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
    void describe(const CacheContent& content)
    {
        ++metadata_.generation;
        metadata_.segmentRoot = content.segmentRoot;
        metadata_.objectRecords = static_cast<std::uint32_t>(content.objects.records);
        metadata_.nodeRecords = static_cast<std::uint32_t>(content.nodes.records);
        metadata_.segmentRecords = static_cast<std::uint32_t>(content.segments.records);
        metadata_.countRecords = static_cast<std::uint32_t>(content.counts.records);
        metadata_.accessDefinitions = content.accessDefinitions;
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

OpenFile CachePublisher::openManifest(const std::string& directory)
{
    fileSystem_.createDirectories(directory);
    // The lock is on the manifest, so the manifest has to be there first; without content it is refused.
    return fileSystem_.openOrCreate(directory + "/" + AccessCache::MANIFEST_FILE_NAME);
}

void CachePublisher::mark(const std::string& directory)
{
    const OpenFile manifest = openManifest(directory);
    const ExclusiveLock lock(manifest.path(), patience_);
    MetadataFile(fileSystem_, directory).mark();
}

std::uint64_t CachePublisher::publish(const std::string& directory, const ObjectNamespace& covers,
                                      const CacheImage& image)
{
    return publish(directory, covers, [&image](const FoundCache& /*found*/) { return wholeOf(image); });
}

std::uint64_t CachePublisher::publish(const std::string& directory, const ObjectNamespace& covers,
                                      const ContentFor& contentFor)
{
    const OpenFile manifest = openManifest(directory);
    const ExclusiveLock lock(manifest.path(), patience_);

    MetadataFile metadata(fileSystem_, directory);
    RecordFiles records(fileSystem_, directory);
    const CacheContent content = contentFor(metadata.found(records));
    records.allocate(content);

    try {
        metadata.mark();
        records.write(content);
        metadata.describe(content);
        updateManifest(fileSystem_, manifest, covers);
        if (content.isWhole) {
            fileSystem_.syncDirectory(directory);
        }
        return metadata.unmark();
    } catch (const FileError& error) {
        throw PublishError(std::string(error.what()) + "; until it is published again, readers refuse " +
                           directory);
    }
}

} // namespace keepsafe_service
