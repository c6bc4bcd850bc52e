#include "support/PrivatePostgres.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

/// The longest folder whose socket still has a name that the system takes: 107 bytes in all.
constexpr std::size_t MAX_FOLDER = 80;

/// Waits for the end of its input, which comes with the end of the test however it dies, then takes down
/// server and folder. It is a daemon, so that killing the test and its children does not reach it.
constexpr const char* WATCHER = R"(
trap '' INT TERM HUP QUIT PIPE
cat > /dev/null
pidfile=$1/data/postmaster.pid
if [ -s "$pidfile" ]; then
  pid=$(head -n 1 "$pidfile")
  kill -CONT "$pid"
  kill -QUIT "$pid"
  tries=0
  while [ -e "$pidfile" ] && [ $tries -lt 500 ]; do
    sleep 0.02
    tries=$((tries + 1))
  done
  [ ! -e "$pidfile" ] || kill -KILL "$pid"
fi
tries=0
while [ -e "$1" ] && [ $tries -lt 100 ]; do
  rm -rf "$1" || sleep 0.05
  tries=$((tries + 1))
done
)";

[[noreturn]] void fail(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

/// Starts a program in the root folder, which every user may enter.
Process startInRootFolder(const std::vector<std::string>& arguments, const Descriptor& input,
                          const Descriptor& output)
{
    return Process::start({arguments, input.get(), output.get(), output.get(), {}, "/"});
}

/// Runs a program to its end; throws with all that it said when it fails.
void run(const std::vector<std::string>& arguments)
{
    const Descriptor input = openFile("/dev/null", O_RDONLY);
    Pipe output;
    Process process = startInRootFolder(arguments, input, output.writeEnd);
    output.writeEnd.close();
    const std::string said = readAll(output.readEnd);
    if (process.wait().exitStatus != 0) {
        std::ostringstream command;
        std::copy(arguments.begin(), arguments.end(), std::ostream_iterator<std::string>(command, " "));
        throw std::runtime_error(command.str() + "failed: " + said);
    }
}

/// The folder of the newest server's programs.
std::string findPrograms()
{
    std::string newest;
    int newestVersion = 0;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", ignored)) {
        const int version = std::atoi(entry.path().filename().c_str()); // NOLINT(cert-err34-c): 0 for others
        if (version > newestVersion && std::filesystem::exists(entry.path() / "bin/initdb", ignored)) {
            newestVersion = version;
            newest = entry.path() / "bin";
        }
    }
    if (newest.empty()) {
        throw std::runtime_error("no PostgreSQL server under /usr/lib/postgresql: install the Debian package "
                                 "\"postgresql\"");
    }
    return newest;
}

std::string makeFolder()
{
    std::filesystem::path parent = std::filesystem::temp_directory_path();
    if (parent.string().size() > MAX_FOLDER) {
        parent = "/tmp";
    }
    std::string pattern = (parent / "ks-pg-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        fail(errno, "cannot make a folder like " + pattern);
    }
    return pattern;
}

void giveToServerUser(const std::string& folder)
{
    if (geteuid() != 0) {
        return;
    }
    const passwd* const user = getpwnam("postgres"); // NOLINT(concurrency-mt-unsafe)
    if (user == nullptr) {
        throw std::runtime_error("no user \"postgres\": install the Debian package \"postgresql\"");
    }
    if (chown(folder.c_str(), user->pw_uid, user->pw_gid) != 0) {
        fail(errno, "chown " + folder);
    }
}

/// State and parent of a process; state 0 when there is none.
std::pair<char, pid_t> stateAndParent(const std::string& pid)
{
    std::ifstream file("/proc/" + pid + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name = text.rfind(')');
    std::pair<char, pid_t> result{0, 0};
    if (name != std::string::npos) {
        std::istringstream(text.substr(name + 1)) >> result.first >> result.second;
    }
    return result;
}

std::vector<pid_t> childrenOf(pid_t parent)
{
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            stateAndParent(name).second == parent) {
            children.push_back(static_cast<pid_t>(std::stol(name)));
        }
    }
    return children;
}

bool isGone(pid_t pid)
{
    const char state = stateAndParent(std::to_string(pid)).first;
    return state == 0 || state == 'Z' || state == 'X';
}

} // namespace

PrivatePostgres::PrivatePostgres(const std::vector<std::string>& settings)
    : settings_(settings), programs_(findPrograms()), folder_(makeFolder())
{
    startWatcher();
    try {
        createCluster();
        start();
    } catch (...) {
        endWatcher();
        throw;
    }
}

PrivatePostgres::~PrivatePostgres() { endWatcher(); }

void PrivatePostgres::startWatcher()
{
    startInRootFolder({"setsid", "--fork", "sh", "-c", WATCHER, "sh", folder_}, toWatcher_.readEnd,
                      fromWatcher_.writeEnd)
        .wait();
    toWatcher_.readEnd.close();
    fromWatcher_.writeEnd.close();
}

void PrivatePostgres::endWatcher()
{
    toWatcher_.writeEnd.close();
    readAll(fromWatcher_.readEnd);
}

std::vector<std::string> PrivatePostgres::serverCommand(const std::string& program,
                                                        std::vector<std::string> arguments) const
{
    std::vector<std::string> command;
    if (geteuid() == 0) {
        command = {"setpriv", "--reuid=postgres", "--regid=postgres", "--init-groups", "--"};
    }
    command.push_back(programs_ + "/" + program);
    std::move(arguments.begin(), arguments.end(), std::back_inserter(command));
    return command;
}

void PrivatePostgres::createCluster()
{
    giveToServerUser(folder_);
    run(serverCommand("initdb", {"--pgdata=" + folder_ + "/data", "--username=tester", "--auth=trust",
                                 "--encoding=UTF8", "--locale=C", "--no-sync", "--wal-segsize=1"}));
    std::ofstream rules(folder_ + "/data/pg_hba.conf", std::ios::trunc);
    rules << "local all tester trust\nlocal all all scram-sha-256\n";
    if (!rules.flush()) {
        throw std::runtime_error("cannot write pg_hba.conf");
    }
}

void PrivatePostgres::start()
{
    std::string options = "-c listen_addresses='' -c unix_socket_directories=" + folder_ + " -c fsync=off";
    for (const std::string& setting : settings_) {
        options += " -c " + setting;
    }
    try {
        run(serverCommand("pg_ctl", {"--pgdata=" + folder_ + "/data", "--log=" + folder_ + "/log", "--wait",
                                     "--timeout=60", "--options=" + options, "start"}));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(error.what() + readFile(folder_ + "/log"));
    }
}

void PrivatePostgres::stop()
{
    run(serverCommand("pg_ctl", {"--pgdata=" + folder_ + "/data", "--wait", "--mode=fast", "stop"}));
}

void PrivatePostgres::kill()
{
    const pid_t server = postmaster();
    ::kill(server, SIGSTOP); // so that it starts no further process
    std::vector<pid_t> processes = childrenOf(server);
    processes.push_back(server);
    for (const pid_t process : processes) {
        ::kill(process, SIGKILL);
    }
    while (!std::all_of(processes.begin(), processes.end(), isGone)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // A dead process that nobody has waited for yet would pass for one that runs.
    for (const char* const file : {"/data/postmaster.pid", "/.s.PGSQL.5432", "/.s.PGSQL.5432.lock"}) {
        std::filesystem::remove(folder_ + file);
    }
}

void PrivatePostgres::signal(int number) const { ::kill(postmaster(), number); }

std::vector<pid_t> PrivatePostgres::backends() const
{
    std::vector<pid_t> result;
    for (const pid_t child : childrenOf(postmaster())) {
        std::ifstream file("/proc/" + std::to_string(child) + "/cmdline");
        std::string title;
        std::getline(file, title);
        if (title.find("[local]") != std::string::npos) {
            result.push_back(child);
        }
    }
    return result;
}

pid_t PrivatePostgres::postmaster() const
{
    std::ifstream file(folder_ + "/data/postmaster.pid");
    pid_t pid = 0;
    if (!(file >> pid) || pid <= 1) {
        throw std::runtime_error("the server does not run");
    }
    return pid;
}

std::string PrivatePostgres::connectionString() const { return connectionString("tester", ""); }

std::string PrivatePostgres::connectionString(const std::string& role, const std::string& password) const
{
    std::string text =
        "Driver=PostgreSQL Unicode;Server=" + folder_ + ";Port=5432;Database=postgres;Uid=" + role + ";";
    return password.empty() ? text : text + "Pwd=" + password + ";";
}

} // namespace keepsafe_test
