/// \file
/// KeldMorvIO for C++17 and later: the eleven calls of KeldMorvIO.h behind classes. Header-only, and no more than the
/// standard library.
///
///     using namespace Keld::MorvIO;
///
///     const Session session = Session::Start("/srv/MORV/projects/client/releases/1.0.0.0");
///     const std::string guide = ReadText("docs/guide.txt");
///     for (const Entry &entry : Directory("textures", "*.tga"))
///     {
///         const File texture = File::Open("textures/" + entry.name);
///     }
///
/// Conventions, which hold for all of it:
///
///  1. Virtual paths are those of KeldMorvIO.h: no leading separator, letters of ASCII in either case. One thing is
///     easier here: the empty path is the root.
///  2. Errors come in two forms, as with std::filesystem. A call with a `std::error_code &` at its end sets that, or
///     clears it, and throws nothing but what memory that runs out throws. The same call without it
///     throws `std::system_error`, whose text names the path; it is there only where exceptions are switched on.
///     Everything else works under -fno-exceptions. The library's log tells more than any code does.
///  3. Objects can be moved and not copied. One that was moved from is empty, as one made without arguments is.
///  4. There is one library in a process, whatever number of objects. What the library asks of threads, it asks here
///     too: start and end a Session while nothing else runs; read through a File from any number of threads, but close
///     it from none meanwhile; a Directory, a RecursiveDirectory and a FileStream belong to one thread at a time.
///  5. A File, a stream or a directory must be gone before its Session ends: the library's handles end with it.
#ifndef KELD_MORV_IO_HPP
#define KELD_MORV_IO_HPP

#include "Wrapper/Directory.hpp"
#include "Wrapper/Error.hpp"
#include "Wrapper/File.hpp"
#include "Wrapper/FileStream.hpp"
#include "Wrapper/RecursiveDirectory.hpp"
#include "Wrapper/Session.hpp"
#include "Wrapper/Status.hpp"

#endif
