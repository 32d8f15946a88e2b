#pragma once

#include "KeldFoundation/logger/IKeldLogger.h"

namespace Keld
{
/// The built-in logger's table. Its addresses are constants, so that messages of static constructors find it.
extern const IKeldLogger gBuiltInLogger;

/// The same; it lives as long as the process.
const IKeldLogger *GetBuiltInLogger();
} // namespace Keld
