#include "machine.h"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <thread>

#include <lmdb.h>
#include <sqlite3.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

namespace keepsafe_bench {

namespace {

std::string processorName()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const auto colon = line.find(": ");
        if (line.compare(0, 10, "model name") == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown";
}

std::string memory()
{
    struct sysinfo info = {};
    ::sysinfo(&info);
    return std::to_string(info.totalram * info.mem_unit >> 20U) + " MiB";
}

std::string operatingSystem()
{
    struct utsname names = {};
    ::uname(&names);
    return std::string(names.sysname) + " " + names.release + " " + names.machine;
}

std::string date()
{
    const std::time_t now = std::time(nullptr);
    struct tm parts = {};
    ::gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

/// Of the sources that the program was built from; they may have changed since.
std::string commit()
{
    std::string text;
    if (FILE* const output =
            ::popen("git -C '" KEEPSAFE_SOURCE_DIR "' describe --always --dirty 2> /dev/null", "r")) {
        for (int character = 0; (character = std::fgetc(output)) > ' ';) {
            text += static_cast<char>(character);
        }
        ::pclose(output);
    }
    return text.empty() ? "unknown" : text;
}

std::string compiler()
{
#ifdef __clang__
    return __VERSION__;
#else
    return std::string("g++ ") + __VERSION__;
#endif
}

} // namespace

std::map<std::string, std::string> describeMachine()
{
    return {{"processor", processorName()},
            {"processors", std::to_string(std::thread::hardware_concurrency())},
            {"memory", memory()},
            {"system", operatingSystem()},
            {"date", date()},
            {"commit", commit()},
            {"compiler", compiler()},
#ifdef __OPTIMIZE__
            {"optimised", "yes"},
#else
            {"optimised", "no"},
#endif
            {"lmdb", MDB_VERSION_STRING},
            {"sqlite", ::sqlite3_libversion()}};
}

} // namespace keepsafe_bench
