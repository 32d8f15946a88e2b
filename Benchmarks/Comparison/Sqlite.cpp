#include "Benchmarks/Comparison/Neighbour.h"

#include <cstring>
#include <stdexcept>

#include <sqlite3.h>

namespace Keld::Benchmarks
{
namespace
{
void Check(sqlite3 *database, int result)
{
    if (result != SQLITE_OK)
    {
        throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(database));
    }
}

class SqliteBlob : public NeighbourFile
{
public:
    explicit SqliteBlob(sqlite3_blob *blob) : mBlob(blob) {}
    ~SqliteBlob() override { sqlite3_blob_close(mBlob); }
    SqliteBlob(const SqliteBlob &) = delete;
    SqliteBlob &operator=(const SqliteBlob &) = delete;

    std::size_t Read(uint64 offset, std::size_t size, char *buffer) override
    {
        return sqlite3_blob_read(mBlob, buffer, static_cast<int>(size), static_cast<int>(offset)) == SQLITE_OK ? size
                                                                                                               : 0;
    }

private:
    sqlite3_blob *mBlob;
};

/// A table of paths and blobs with an index over the paths, mapped into memory, statements prepared once.
class Sqlite : public Neighbour
{
public:
    explicit Sqlite(const std::string &path)
    {
        Check(mDatabase, sqlite3_open_v2(path.c_str(), &mDatabase, SQLITE_OPEN_READONLY, nullptr));
        Check(mDatabase, sqlite3_exec(mDatabase, "pragma mmap_size=8589934592; pragma cache_size=-262144", nullptr,
                                      nullptr, nullptr));
        Check(mDatabase, sqlite3_prepare_v2(mDatabase, "select id from files where path = ?", -1, &mFind, nullptr));
        Check(mDatabase, sqlite3_prepare_v2(mDatabase, "select bytes from files where path = ?", -1, &mRead, nullptr));
    }
    ~Sqlite() override
    {
        sqlite3_finalize(mFind);
        sqlite3_finalize(mRead);
        sqlite3_close(mDatabase);
    }
    Sqlite(const Sqlite &) = delete;
    Sqlite &operator=(const Sqlite &) = delete;

    bool Exists(const char *path) override { return Id(path) != 0; }

    std::size_t ReadWhole(const char *path, char *buffer) override
    {
        sqlite3_bind_text(mRead, 1, path, -1, SQLITE_STATIC);
        std::size_t size = 0;
        if (sqlite3_step(mRead) == SQLITE_ROW)
        {
            size = static_cast<std::size_t>(sqlite3_column_bytes(mRead, 0));
            std::memcpy(buffer, sqlite3_column_blob(mRead, 0), size);
        }
        sqlite3_reset(mRead);
        return size;
    }

    std::unique_ptr<NeighbourFile> Open(const char *path) override
    {
        sqlite3_blob *blob = nullptr;
        Check(mDatabase, sqlite3_blob_open(mDatabase, "main", "files", "bytes", Id(path), 0, &blob));
        return std::make_unique<SqliteBlob>(blob);
    }

private:
    sqlite3_int64 Id(const char *path)
    {
        sqlite3_bind_text(mFind, 1, path, -1, SQLITE_STATIC);
        const sqlite3_int64 id = sqlite3_step(mFind) == SQLITE_ROW ? sqlite3_column_int64(mFind, 0) : 0;
        sqlite3_reset(mFind);
        return id;
    }

    sqlite3 *mDatabase = nullptr;
    sqlite3_stmt *mFind = nullptr;
    sqlite3_stmt *mRead = nullptr;
};

void WriteSqlite(const std::string &directory, const std::vector<ContentFile> &files, bool)
{
    sqlite3 *database = nullptr;
    sqlite3_stmt *insert = nullptr;
    Check(database, sqlite3_open((directory + "/files.sqlite").c_str(), &database));
    Check(database, sqlite3_exec(database,
                                 "pragma journal_mode=off; pragma synchronous=off; create table files"
                                 "(id integer primary key, path text unique collate nocase, bytes blob); begin",
                                 nullptr, nullptr, nullptr));
    Check(database, sqlite3_prepare_v2(database, "insert into files(path, bytes) values(?, ?)", -1, &insert, nullptr));
    for (const ContentFile &file : files)
    {
        sqlite3_bind_text(insert, 1, file.path.data(), static_cast<int>(file.path.size()), SQLITE_STATIC);
        sqlite3_bind_blob(insert, 2, file.bytes.data(), static_cast<int>(file.bytes.size()), SQLITE_STATIC);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    Check(database, sqlite3_exec(database, "commit", nullptr, nullptr, nullptr));
    sqlite3_close(database);
}
} // namespace

NeighbourKind SqliteKind()
{
    return {"SQLite", false, WriteSqlite,
            [](const std::string &directory)
            {
                return std::unique_ptr<Neighbour>(std::make_unique<Sqlite>(directory + "/files.sqlite"));
            }};
}
} // namespace Keld::Benchmarks
