/// \file
/// KeldMorvIO: read-only access to the files of a deployed release, by virtual path.
///
/// This header is C99, and C++11 as well, and compiles alone. The library has eleven calls and no others.
///
/// Conventions, which hold for every call:
///
///  1. Paths. A virtual path is text in the encoding of the release's names. Bytes are compared as they are, except
///     that ASCII letters match in either case. A path has no leading separator and does not name the root:
///     "data/maps/a.dds". A backslash counts as a slash, a run of separators as one, and a trailing separator does not
///     matter. "." and ".." are not resolved: they are names, and releases have no such names. A path that is longer
///     than 1023 bytes after that is treated like one that is not there.
///  2. Results. A call gives an HRESULT (negative means failure), a pointer that is null on failure, or a number. Of
///     most failures the log tells what went wrong, from the cause to the consequence (see 8. and MorvSetLogger); by
///     default warnings and errors appear on standard error. `errno` is no result: it stays as it is unless a call to
///     the system fails.
///  3. Memory. What is passed in is borrowed for the length of the call; only the logger's table is borrowed for good.
///     Handles are made by the library and belong to the caller until they are closed.
///  4. Exceptions. A failure is a result and never an exception, but no call catches what its allocations throw. When
///     memory runs out, std::bad_alloc passes through. A start can also let two others pass: std::length_error for a
///     release manifest that counts more strings than any vector can hold, and std::logic_error when it comes so late
///     in the end of the process that the library's file providers have gone. A C program ends with each of them.
///  5. Start. The library serves the release that a working directory lies in. A program either calls MorvInitialize
///     with that directory, or leaves it to the first MorvFileExists, MorvOpenFile or MorvFindFirstFile, which starts
///     the library with the process's working directory of that moment. Calls that take a handle never start it.
///  6. Threads. A start and MorvShutdown run while no other call does, except for MorvSetLogger, which may come at any
///     time, from one thread at a time. After the start any thread may make any other call at any time, with two
///     limits: a find handle serves one thread at a time, and nobody closes a file handle while another thread reads
///     through it.
///  7. The tree on disk is read and never written, with one exception: a start deletes archive index files that turn
///     out to be unusable. Run as somebody who cannot write the tree, and it never does.
///  8. No answer. Null from MorvOpenFile and MorvFindFirstFile, and 0 from MorvFileExists, do not tell why. Logged as
///     errors are a start that fails, by the call that tried it and by each later one that tries; a file that the
///     manifest lists and that the start does not find on disk, once, and it is missing like any other afterwards; and
///     each open of a naked or managed file that has gone since, or of a stored one whose sizes in manifest and archive
///     differ. Not logged are a path that is missing, is a directory or is too long; a compressed file whose stored
///     bytes are damaged, but for LZMA data that end in their header or begin with nonsense; and a read that fails.
#ifndef KELD_MORV_IO_H
#define KELD_MORV_IO_H

#include <stdint.h>

/// The version of this header, as numbers: 1.2.3 is 1, 2 and 3, and 10203 as one number that can be compared.
#define MORV_VERSION_MAJOR 1
#define MORV_VERSION_MINOR 0
#define MORV_VERSION_PATCH 0
#define MORV_VERSION (MORV_VERSION_MAJOR * 10000 + MORV_VERSION_MINOR * 100 + MORV_VERSION_PATCH)

#if defined(__GNUC__)
#define MORV_EXPORT __attribute__((visibility("default")))
#else
#define MORV_EXPORT
#endif

#ifdef __cplusplus
extern "C"
{
#endif

    // A program that has HRESULT, S_OK, E_FAIL and E_HANDLE of its own, a type of 32 bits and these values, defines
    // MORV_NO_RESULTS before it includes this. Where only values are macros already, these are left as they are.
#ifndef MORV_NO_RESULTS
    /// A status of 32 bits. Negative means failure.
    typedef int32_t HRESULT;

#if !defined(S_OK) || !defined(E_FAIL) || !defined(E_HANDLE)
    /// The values that occur. In hexadecimal, as unsigned words: 0, 0x80004005, 0x80070006.
    enum
    {
#ifndef S_OK
        S_OK = 0,
#endif
#ifndef E_FAIL
        E_FAIL = -2147467259, ///< the operation failed
#endif
#ifndef E_HANDLE
        E_HANDLE = -2147024890, ///< a null handle
#endif
    };
#endif
#endif

    /// An open file. Made by MorvOpenFile, ended by MorvCloseFile.
    typedef struct OpenFileHandle OpenFileHandle;

    /// An enumeration of one directory. Made by MorvFindFirstFile, ended by MorvFindClose.
    typedef struct FindHandle FindHandle;

    /// A logger's table of 26 function pointers. KeldLogger.h declares it.
#ifndef KELD_LOGGER_NAMED
#define KELD_LOGGER_NAMED
    typedef struct IKeldLogger IKeldLogger;
#endif

    /// Starts the library for the release that a directory lies in.
    ///
    /// The directory's path decides everything: it must hold "projects/<name>/releases/<version>" or
    /// "solutions/<name>/releases/<version>", and the tree's root is taken to end behind the last "MORV/" of it. The
    /// directory itself need not exist. A project whose release manifest cannot be read starts all the same, with
    /// nothing in it; a solution starts with all of its projects or not at all.
    ///
    /// The path is taken as text: pass an absolute one. A relative one is not resolved. "." and "1.0.0.0" are refused,
    /// "projects/client/releases/1.0.0.0" starts with nothing in it, since it does not tell where the root is, and
    /// behind "MORV/projects/..." the opens of naked and managed files fail once the process has changed its directory.
    ///
    /// To be called from one thread, while no other call runs, except for MorvSetLogger.
    ///
    /// \param reserved0         ignored, as are the next two.
    /// \param reserved1         ignored.
    /// \param reserved2         ignored.
    /// \param workingDirectory  borrowed. Null means the process's working directory; an empty text is a directory like
    ///                          any other, and no release. At most 1023 bytes, once its separators are collapsed.
    /// \returns S_OK; E_FAIL when no release could be made out or loaded, and then nothing is loaded; E_FAIL when the
    ///          library was started before, by this call or by a path call, and then what runs goes on running.
    MORV_EXPORT HRESULT MorvInitialize(uint32_t reserved0, uint32_t reserved1, uint32_t reserved2,
                                       const char *workingDirectory);

    /// Ends what a start has loaded, and frees it. Every file handle and every find handle is invalid afterwards; a
    /// file that was not closed is logged as an error. Without a start it does nothing. The library may be started
    /// again.
    ///
    /// To be called while no other call runs, except for MorvSetLogger. A process that ends without it releases
    /// everything in the same way.
    MORV_EXPORT void MorvShutdown(void);

    /// Sends the library's messages to a logger of the consumer's from now on. It may be called at any time: before the
    /// start, after it, and while other threads are in the library; but by one thread at a time.
    ///
    /// The table's `RegisterGroup` is called once, during this call, with the tag "MRV"; the mask that it returns is in
    /// the groups of every message from then on. Its `Log` is called from any thread that works in the library, also
    /// while the library holds locks: it must not call back into the library. No other entry is called. The previous
    /// logger is not notified, and a thread that was about to log may still call it.
    ///
    /// \param logger  borrowed for good: it must stay valid as long as the library may log, which includes the end of
    ///                the process. Null is refused: nothing changes.
    MORV_EXPORT void MorvSetLogger(const IKeldLogger *logger);

    /// Tells whether a path is there, as a file or as a directory. Starts the library if need be. Any thread.
    ///
    /// \param path  borrowed. Null and "" give 0 and start nothing; "/" is the root.
    /// \returns 1 if the path is there; 0 if it is not, is too long, or the library cannot start.
    MORV_EXPORT uint32_t MorvFileExists(const char *path);

    /// Opens a file for reading. Starts the library if need be. Any thread. The first open of a compressed file
    /// decompresses all of it into memory, where it stays until the last close; other opens and closes in its project
    /// wait meanwhile.
    ///
    /// Where several projects hold the path, the one of the highest priority is opened; if that one is a directory or
    /// cannot be opened, the call fails.
    ///
    /// A file compressed with LZMA should be opened once and kept open: after its last close it cannot be opened again
    /// before a new start, and its first open closes its archive for all other files of that archive.
    ///
    /// \param path  borrowed. Null and "" give null and start nothing.
    /// \returns a handle, to be closed with MorvCloseFile; null if the path is not there, is a directory, is too long,
    ///          or cannot be opened, or if the library cannot start.
    MORV_EXPORT OpenFileHandle *MorvOpenFile(const char *path);

    /// Closes a file. The handle is invalid afterwards. Any thread, but never while a read through this handle runs.
    /// Other handles of the same file stay open.
    ///
    /// \param handle  taken over, from MorvOpenFile. Null is ignored.
    MORV_EXPORT void MorvCloseFile(OpenFileHandle *handle);

    /// Tells the size of an open file, as the release manifest states it: bytes of content, uncompressed. Any thread.
    ///
    /// To learn a size alone do not open the file, which decompresses a compressed one: MorvFindFirstFile with its path
    /// (a name without "*" and "?" matches itself) and one MorvFindNextFile tell it.
    ///
    /// \param handle  borrowed, from MorvOpenFile.
    /// \returns 0 to 4294967295, or -1 for a null handle.
    MORV_EXPORT int64_t MorvGetFileSize(OpenFileHandle *handle);

    /// Reads `size` bytes of an open file, from byte `offset` of its content on.
    ///
    /// A handle has no file position: many threads may read through one at once. None may close it while a read runs.
    /// At most four reads of uncompressed files are in flight in the process; further ones wait.
    ///
    /// \param handle     borrowed, from MorvOpenFile. Null gives E_HANDLE, whatever the size.
    /// \param offset     bytes from the start of the content, uncompressed; for a compressed file its low 32 bits.
    /// \param size       bytes wanted. 0 gives S_OK at once and writes nothing, bytesRead included.
    /// \param bytesRead  out, may be null: bytes delivered. Also written by a read that fails: a compressed file that
    ///                   ends early tells how much came, and a device error gives 0xFFFFFFFF.
    /// \param buffer     out, the caller's: room for `size` bytes. Null is a programming error.
    /// \returns S_OK; E_HANDLE; E_FAIL when the read failed, when a signal ended the wait for a turn, or when a
    ///          compressed file ended early.
    ///
    /// S_OK can come with fewer bytes than wanted, or with none: look at bytesRead, read on behind what came, and stop
    /// when nothing comes. Where the file's size is passed depends on the storage:
    ///
    ///  - a naked or managed file ends where the file on disk ends, at whatever size: S_OK with what was left;
    ///  - a file that is stored uncompressed in an archive is not held to its size: a read beyond it delivers what
    ///    follows in the archive. Where the archive's data file ends, early ends included, S_OK with what was left;
    ///  - a compressed file ends at its size: E_FAIL with what was left.
    ///
    /// Of an uncompressed file, whatever its storage, one read delivers at most 2147479552 bytes.
    MORV_EXPORT HRESULT MorvRead(OpenFileHandle *handle, uint64_t offset, uint32_t size, uint32_t *bytesRead,
                                 void *buffer);

    /// Begins an enumeration of one directory. Starts the library if need be. Any thread. It positions only: the first
    /// entry comes from the first MorvFindNextFile.
    ///
    /// The part of the path behind its last separator is the pattern, the part before it is the directory: "*" lists
    /// the root, "data/*.dds" the directory data. Since a trailing separator does not count, "data/" searches the root
    /// for an entry of that name.
    ///
    /// In a pattern "*" is any run of characters and "?" is one character. A "." is a dot or the end of the name where
    /// it begins the pattern or follows "*", "?" or another "." of that kind: "*.*" and "*." match "a". Behind any
    /// other character it is just a dot: "a." does not match "a". Case does not matter. The name is matched in one
    /// forward pass, and a "*" never tries again: "*.dds" does not match "a.b.dds".
    ///
    /// \param path  borrowed. Null gives null and starts nothing; "" is the root with a pattern that matches no name.
    /// \returns a handle, to be closed with MorvFindClose, also for an empty directory; null if no project holds the
    ///          directory, if the path is too long, or if the library cannot start.
    MORV_EXPORT FindHandle *MorvFindFirstFile(const char *path);

    /// Delivers the next entry whose name matches, and steps on.
    ///
    /// Within one project subdirectories come before files, each group in the order of names without regard to case.
    /// Several projects that hold the directory are merged name by name, and of entries of one name that meet in the
    /// merge the one of the highest priority is shown. Once the first of the projects that are not used up has no more
    /// subdirectories, its files are compared with the subdirectories of the others too.
    ///
    /// \param handle        borrowed, from MorvFindFirstFile; one thread at a time.
    /// \param isDirectory   out, may be null: 1 for a directory, 0 for a file.
    /// \param size          out, may be null: bytes of a file's content as the manifest states it, 0 for a directory.
    /// \param nameCapacity  bytes at `name`, its NUL included; not looked at if `name` is null. With 0 nothing is
    ///                      written there.
    /// \param name          out, may be null: the entry's bare name, cut to the room there is.
    /// \returns S_OK; E_HANDLE for a null handle; E_FAIL when no further entry matches, and then nothing is written.
    MORV_EXPORT HRESULT MorvFindNextFile(FindHandle *handle, uint32_t *isDirectory, uint64_t *size,
                                         uint32_t nameCapacity, char *name);

    /// Ends an enumeration, at whatever point it stands. The handle is invalid afterwards.
    ///
    /// \param handle  taken over, from MorvFindFirstFile; one thread at a time. Null is ignored.
    MORV_EXPORT void MorvFindClose(FindHandle *handle);

#ifdef __cplusplus
}
#endif

#endif
