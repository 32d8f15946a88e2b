#pragma once

#include "KeldFoundation/logger/IKeldLogger.h"

namespace Keld::Test
{
/// A consumer's logger that formats every message and keeps none, from any thread. It lives for good.
const IKeldLogger *QuietLogger();
} // namespace Keld::Test
