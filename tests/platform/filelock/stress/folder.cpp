// Somebody removes, cuts and replaces the files beside the lock while readers and writers are at work. Nobody
// may die of it or read while somebody writes, and the readers come back to their slots. On a busy machine a
// reader may be stopped for longer than writers wait for one whose file is gone: what it reads does not
// count.

#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "Document.h"
#include "SlotFolder.h"
#include "measures.h"

namespace filelock_stress {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using Tessara::Keepsafe::Platform::filelock::SlotFolder;

struct FolderFigures {
    std::atomic<bool> stop;
    std::atomic<std::int64_t> generations;
    HoldFigures holds;
    ReadFigures reads;
    ReadFigures longReads;
};

/// How long a writer waits for readers that it cannot see any more, less the delay of the coarse clock.
constexpr milliseconds SHORT_HOLD{20};

void publish(const Options& options, Document& document, FolderFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofWriter(options);
    while (!figures.stop) {
        const FileLockGuard guard = lock.exclude();
        writeNextGeneration(document);
        ++figures.generations;
    }
}

void read(const Options& options, std::size_t number, const Document& document, FolderFigures& figures)
{
    const ProcessLock lock = ProcessLock::ofReader(options, number);
    onThreads(options.threads, [&] {
        for (DocumentReader reader; !figures.stop;) {
            const Clock::time_point start = Clock::now();
            const FileLockGuard guard = lock.share();
            figures.holds.add(lock.isHeldBySlot());
            ReadFigures read{};
            reader.read(document, read);
            (Clock::now() - start < SHORT_HOLD ? figures.reads : figures.longReads).add(read);
        }
    });
}

/// What can happen to the folder. Other processes work in it meanwhile, so a file may be gone before its
/// turn.
class Saboteur {
public:
    struct Deed {
        const char* name;
        void (Saboteur::*act)();
    };
    static const std::vector<Deed> DEEDS;

    Saboteur(const Options& options)
        : folder_(SlotFolder::pathFor(options.lockPath)), control_(folder_ / SlotFolder::CONTROL),
          spare_(options.lockPath + ".spare"), random_(options.seed)
    {
    }

    /// Takes away what stands in the place of the folder, if something does, so that a new one can be made.
    void clearTheWay()
    {
        std::error_code gone;
        if (!fs::is_directory(fs::symlink_status(folder_, gone))) {
            fs::remove(folder_, gone);
        }
        fs::remove_all(spare_, gone);
    }

private:
    void removeFolder()
    {
        std::error_code busy; // a reader makes its file meanwhile
        do {
            fs::remove_all(folder_, busy);
        } while (busy);
    }
    void removeSlotFiles()
    {
        forEachSlotFile([](const fs::path& file, std::error_code& gone) { fs::remove(file, gone); });
    }
    void cutSlotFiles()
    {
        forEachSlotFile([](const fs::path& file, std::error_code& gone) { fs::resize_file(file, 0, gone); });
    }
    void removeControl()
    {
        std::error_code gone;
        fs::remove(control_, gone);
    }
    void cutControlToNothing() { cutControl(0); }
    void cutControlTo100Bytes() { cutControl(100); }
    void overwriteControlByForeignFile()
    {
        std::fstream(control_, std::ios::in | std::ios::out) << std::string(4096, 'x');
    }
    void overwriteControlByRandomBytes()
    {
        std::string bytes(4096, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random_()); });
        std::fstream(control_, std::ios::in | std::ios::out) << bytes;
    }
    void replaceControlByForeignFile()
    {
        std::ofstream(spare_) << std::string(4096, 'x');
        std::error_code gone;
        fs::rename(spare_, control_, gone);
    }
    void replaceFolderByFile()
    {
        moveFolderAway();
        std::ofstream(folder_) << "foreign";
    }
    void replaceFolderByLink()
    {
        moveFolderAway();
        fs::create_symlink(spare_, folder_);
    }

    template <typename Act>
    void forEachSlotFile(const Act& act)
    {
        std::error_code gone;
        for (const auto& entry : fs::directory_iterator(folder_, gone)) {
            if (entry.path().filename() != SlotFolder::CONTROL) {
                act(entry.path(), gone);
            }
        }
    }
    void cutControl(std::uintmax_t size)
    {
        std::error_code gone;
        fs::resize_file(control_, size, gone);
    }
    void moveFolderAway() { fs::rename(folder_, spare_); }

    const fs::path folder_;
    const fs::path control_;
    const fs::path spare_;
    std::mt19937 random_;
};

const std::vector<Saboteur::Deed> Saboteur::DEEDS = {
    {"folder removed", &Saboteur::removeFolder},
    {"slot files removed", &Saboteur::removeSlotFiles},
    {"slot files cut short", &Saboteur::cutSlotFiles},
    {"control page removed", &Saboteur::removeControl},
    {"control page cut to nothing", &Saboteur::cutControlToNothing},
    {"control page cut to 100 bytes", &Saboteur::cutControlTo100Bytes},
    {"control page overwritten by a foreign file", &Saboteur::overwriteControlByForeignFile},
    {"control page overwritten by random bytes", &Saboteur::overwriteControlByRandomBytes},
    {"control page replaced by a foreign file", &Saboteur::replaceControlByForeignFile},
    {"folder replaced by a file", &Saboteur::replaceFolderByFile},
    {"folder replaced by a link", &Saboteur::replaceFolderByLink},
};

/// Waits until the figure has grown by some.
bool grows(const std::atomic<std::int64_t>& figure)
{
    constexpr std::int64_t SOME = 5;
    const std::int64_t before = figure;
    for (const Clock::time_point end = Clock::now() + std::chrono::seconds(10); Clock::now() < end;) {
        if (figure >= before + SOME) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

/// One deed, the work that goes on, and the way back to the slots.
bool survives(const Saboteur::Deed& deed, Saboteur& saboteur, const Options& options, FolderFigures& figures)
{
    const Clock::time_point start = Clock::now();
    const std::int64_t tornBefore = figures.reads.torn;
    (saboteur.*deed.act)();
    const bool worksOn = grows(figures.generations) && grows(figures.reads.complete);
    saboteur.clearTheWay();
    const bool comesBack = options.slots == Slots::Off || grows(figures.holds.bySlot);
    const bool worksAgain = grows(figures.generations) && grows(figures.reads.complete);
    const std::int64_t torn = figures.reads.torn - tornBefore;
    printFigure(std::string(deed.name) + ", until all was well", Milliseconds(Clock::now() - start));
    if (torn > 0 || !worksOn || !comesBack || !worksAgain) {
        std::cout << deed.name << ": " << torn << " TORN READS" << (worksOn ? "" : ", NO PROGRESS")
                  << (comesBack ? "" : ", SLOTS NOT USED AGAIN")
                  << (worksAgain ? "" : ", NO PROGRESS AFTERWARDS") << std::endl;
    }
    return torn == 0 && worksOn && comesBack && worksAgain;
}

std::vector<Child> startProcesses(const Options& options, Document& document, FolderFigures& figures)
{
    std::vector<Child> processes;
    for (int i = 0; i < options.writers; ++i) {
        processes.emplace_back([&] { publish(options, document, figures); });
    }
    for (std::size_t number = 0; number < static_cast<std::size_t>(options.processes); ++number) {
        processes.emplace_back([&, number] { read(options, number, document, figures); });
    }
    return processes;
}

} // namespace

bool folder(const Options& options)
{
    const Shared<Document> document;
    const Shared<FolderFigures> figures;
    std::vector<Child> processes = startProcesses(options, *document, *figures);
    Saboteur saboteur(options);
    bool well = true;
    std::int64_t deeds = 0;
    const Clock::time_point end = Clock::now() + options.duration;
    do {
        for (const Saboteur::Deed& deed : Saboteur::DEEDS) {
            well = survives(deed, saboteur, options, *figures) && well;
            ++deeds;
        }
    } while (Clock::now() < end);
    figures->stop = true;
    well = endWell(processes) && well;
    printFigure("deeds", deeds);
    printFigure("generations written", figures->generations);
    printFigure("torn reads in holds for which writers do not wait", figures->longReads.torn);
    well = figures->holds.printAndCheck(options) && well;
    return figures->reads.printAndCheck() && figures->reads.interrupted == 0 && well;
}

} // namespace filelock_stress
