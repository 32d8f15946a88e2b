#include "Benchmarks/Comparison/Neighbour.h"

#include <cstring>
#include <stdexcept>

#include <lmdb.h>

namespace Keld::Benchmarks
{
namespace
{
constexpr std::size_t MapSize = std::size_t{8} << 30;

void Check(int result)
{
    if (result != MDB_SUCCESS)
    {
        throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
    }
}

MDB_val ValueOf(std::string_view bytes)
{
    return {bytes.size(), const_cast<char *>(bytes.data())};
}

/// A view into the database's pages.
class LmdbFile : public NeighbourFile
{
public:
    explicit LmdbFile(MDB_val value) : mValue(value) {}

    std::size_t Read(uint64 offset, std::size_t size, char *buffer) override
    {
        std::memcpy(buffer, static_cast<const char *>(mValue.mv_data) + offset, size);
        return size;
    }

private:
    MDB_val mValue;
};

/// Paths as keys, contents as values, one reading transaction for all questions.
class Lmdb : public Neighbour
{
public:
    explicit Lmdb(const std::string &directory)
    {
        Check(mdb_env_create(&mEnvironment));
        Check(mdb_env_set_mapsize(mEnvironment, MapSize));
        Check(mdb_env_open(mEnvironment, directory.c_str(), MDB_RDONLY | MDB_NOLOCK, 0644));
        Check(mdb_txn_begin(mEnvironment, nullptr, MDB_RDONLY, &mTransaction));
        Check(mdb_dbi_open(mTransaction, nullptr, 0, &mDatabase));
    }
    ~Lmdb() override
    {
        mdb_txn_abort(mTransaction);
        mdb_env_close(mEnvironment);
    }
    Lmdb(const Lmdb &) = delete;
    Lmdb &operator=(const Lmdb &) = delete;

    bool Exists(const char *path) override
    {
        MDB_val value;
        return Find(path, value);
    }

    std::size_t ReadWhole(const char *path, char *buffer) override
    {
        MDB_val value;
        if (!Find(path, value))
        {
            return 0;
        }
        std::memcpy(buffer, value.mv_data, value.mv_size);
        return value.mv_size;
    }

    std::unique_ptr<NeighbourFile> Open(const char *path) override
    {
        MDB_val value;
        return Find(path, value) ? std::make_unique<LmdbFile>(value) : nullptr;
    }

private:
    bool Find(const char *path, MDB_val &value)
    {
        MDB_val key = ValueOf(path);
        return mdb_get(mTransaction, mDatabase, &key, &value) == MDB_SUCCESS;
    }

    MDB_env *mEnvironment = nullptr;
    MDB_txn *mTransaction = nullptr;
    MDB_dbi mDatabase = 0;
};

void WriteLmdb(const std::string &directory, const std::vector<ContentFile> &files, bool)
{
    MDB_env *environment = nullptr;
    MDB_txn *transaction = nullptr;
    MDB_dbi database = 0;
    Check(mdb_env_create(&environment));
    Check(mdb_env_set_mapsize(environment, MapSize));
    Check(mdb_env_open(environment, directory.c_str(), MDB_NOSYNC | MDB_WRITEMAP | MDB_NOLOCK, 0644));
    Check(mdb_txn_begin(environment, nullptr, 0, &transaction));
    Check(mdb_dbi_open(transaction, nullptr, 0, &database));
    for (const ContentFile &file : files)
    {
        MDB_val key = ValueOf(file.path);
        MDB_val value = ValueOf(file.bytes);
        Check(mdb_put(transaction, database, &key, &value, 0));
    }
    Check(mdb_txn_commit(transaction));
    mdb_env_close(environment);
}
} // namespace

NeighbourKind LmdbKind()
{
    return {"LMDB", false, WriteLmdb,
            [](const std::string &directory)
            {
                return std::unique_ptr<Neighbour>(std::make_unique<Lmdb>(directory));
            }};
}
} // namespace Keld::Benchmarks
