#pragma once

#include "Tools/Common/OutputDirectory.h"

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::Test
{
/// A socket that listens on the loopback interface, at a port that the system has chosen.
struct ListeningSocket
{
    Common::Descriptor socket;
    uint16_t port = 0;
};

ListeningSocket ListenOnLoopback();

/// Whether somebody listens at a port of the loopback interface.
bool CanConnect(uint16_t port);
} // namespace Keld::Test
