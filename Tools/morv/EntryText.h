#pragma once

#include "Tools/morv/Json.h"

#include "Tools/TreeReader/View.h"

#include <string>

// Entries of a file system and where they lie, in words and as JSON.
namespace Keld::Morv
{
/// "client 1.0.0.0".
std::string LayerText(const TreeReader::Layer &layer);

/// Puts behind `text`: "directory", or of a file "version 1.0.0.0, 8 bytes, archive zlib, /.../a.vka.dat at 20, 6 bytes
/// stored".
void AppendEntryText(const TreeReader::View &view, const TreeReader::Hit &hit, std::string &text);

/// {"kind": "project", "name": ..., "version": ...}.
Json ViewValue(const TreeReader::View &view);

/// Project, release and type; of a file also size, version, digest and where its bytes lie, or "fault" where the
/// library finds none of them.
Json EntryValue(const TreeReader::View &view, const TreeReader::Hit &hit);
} // namespace Keld::Morv
