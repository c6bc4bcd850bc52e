#include "peers/Lmdb.h"

#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <lmdb.h>
#include <unistd.h>

#include "peers/EffectiveRecord.h"
#include "peers/object_tree.h"

namespace keepsafe_bench {

namespace {

/// Far more than any of the caches needs; it costs address space, not memory.
constexpr std::size_t MAP_SIZE = std::size_t{64} << 30U;

void require(int status)
{
    if (status != MDB_SUCCESS) {
        throw std::runtime_error(std::string("LMDB: ") + ::mdb_strerror(status));
    }
}

struct Release {
    void operator()(MDB_env* environment) const noexcept { ::mdb_env_close(environment); }
    void operator()(MDB_txn* transaction) const noexcept { ::mdb_txn_abort(transaction); }
};
using EnvironmentHandle = std::unique_ptr<MDB_env, Release>;
using TransactionHandle = std::unique_ptr<MDB_txn, Release>;

EnvironmentHandle openEnvironment(const std::string& path, unsigned flags)
{
    MDB_env* environment = nullptr;
    require(::mdb_env_create(&environment));
    EnvironmentHandle handle(environment);
    require(::mdb_env_set_mapsize(environment, MAP_SIZE));
    require(::mdb_env_open(environment, path.c_str(), flags | MDB_NOSUBDIR, 0600));
    return handle;
}

TransactionHandle begin(MDB_env* environment, unsigned flags)
{
    MDB_txn* transaction = nullptr;
    require(::mdb_txn_begin(environment, nullptr, flags, &transaction));
    return TransactionHandle(transaction);
}

MDB_dbi openTable(MDB_txn* transaction)
{
    MDB_dbi table = 0;
    require(::mdb_dbi_open(transaction, nullptr, 0, &table));
    return table;
}

MDB_val valueOf(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }

} // namespace

/// The database open for reading.
class LmdbDatabase::Environment {
public:
    explicit Environment(const std::string& path)
        : handle_(openEnvironment(path, MDB_RDONLY)),
          longestKey_(static_cast<std::size_t>(::mdb_env_get_maxkeysize(handle_.get())))
    {
        // The handle of the unnamed table stays valid when its transaction ends.
        const TransactionHandle transaction = begin(MDB_RDONLY);
        table_ = openTable(transaction.get());
    }

    /// This process's environment: it must not be open twice in a process, nor be used in a child.
    static std::shared_ptr<const Environment> of(const std::string& path)
    {
        static std::map<std::pair<pid_t, std::string>, std::weak_ptr<const Environment>> open;
        auto& known = open[{::getpid(), path}];
        auto environment = known.lock();
        if (environment == nullptr) {
            environment = std::make_shared<const Environment>(path);
            known = environment;
        }
        return environment;
    }

    [[nodiscard]] TransactionHandle begin(unsigned flags) const
    {
        return keepsafe_bench::begin(handle_.get(), flags);
    }

    [[nodiscard]] bool decide(MDB_txn* transaction, const PeerQuestion& question) const
    {
        const std::string_view name = question.object.str();
        for (std::string_view text = name; !text.empty(); text = parentText(text)) {
            MDB_val key = valueOf(text);
            MDB_val value = {};
            // A longer key cannot have been stored.
            const int status =
                text.size() > longestKey_ ? MDB_NOTFOUND : ::mdb_get(transaction, table_, &key, &value);
            if (status == MDB_SUCCESS) {
                const EffectiveRecord record(value.mv_data, value.mv_size);
                return text.size() == name.size() ? record.allows(*question.caller)
                                                  : record.allowsBelow(*question.caller);
            }
            if (status != MDB_NOTFOUND) {
                require(status);
            }
        }
        return false;
    }

private:
    EnvironmentHandle handle_;
    std::size_t longestKey_;
    MDB_dbi table_ = 0;
};

class LmdbDatabase::Beginning : public Contender {
public:
    explicit Beginning(const std::string& path) : environment_(Environment::of(path)) {}

    void answer(QuestionRange questions, char* answers) override
    {
        for (const PeerQuestion& question : questions) {
            const TransactionHandle transaction = environment_->begin(MDB_RDONLY);
            *answers++ = environment_->decide(transaction.get(), question) ? 1 : 0;
        }
    }

private:
    std::shared_ptr<const Environment> environment_;
};

class LmdbDatabase::Renewing : public Contender {
public:
    explicit Renewing(const std::string& path) : environment_(Environment::of(path)) {}

    void answer(QuestionRange questions, char* answers) override
    {
        // Made here, so that the thread has no transaction left while the other way is measured: a thread has
        // one place in LMDB's table of readers.
        const TransactionHandle transaction = environment_->begin(MDB_RDONLY);
        for (const PeerQuestion& question : questions) {
            ::mdb_txn_reset(transaction.get());
            require(::mdb_txn_renew(transaction.get()));
            *answers++ = environment_->decide(transaction.get(), question) ? 1 : 0;
        }
    }

private:
    std::shared_ptr<const Environment> environment_;
};

LmdbDatabase::LmdbDatabase(std::string path, std::uint64_t leaves) : path_(std::move(path))
{
    // None of this needs to survive a crash of the machine.
    const EnvironmentHandle environment = openEnvironment(path_, MDB_NOSYNC);
    TransactionHandle transaction = begin(environment.get(), 0);
    const MDB_dbi table = openTable(transaction.get());
    visitRecords(leaves, [&](std::string_view key, std::string_view record) {
        MDB_val keyValue = valueOf(key);
        MDB_val recordValue = valueOf(record);
        require(::mdb_put(transaction.get(), table, &keyValue, &recordValue, MDB_APPEND));
    });
    require(::mdb_txn_commit(transaction.release()));
}

ContenderKind LmdbDatabase::beginning() const
{
    return {"LMDB", [path = path_] { return std::make_unique<Beginning>(path); }};
}

ContenderKind LmdbDatabase::renewing() const
{
    return {"LMDB, renewing", [path = path_] { return std::make_unique<Renewing>(path); }};
}

} // namespace keepsafe_bench
