#include "KeldFoundation/logger/LogFilter.h"

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/logger/LoggerCore.h"

namespace Keld
{
bool IsLogWanted(int32 severity, uint32 groupLow, uint32 groupHigh)
{
    if (GetCurrentLogger() != GetBuiltInLogger())
    {
        return true;
    }
    const Logger::LoggerCore *const logger = Logger::LoggerCore::Get(); // a message makes one where there is none
    return logger == nullptr || logger->IsWanted(severity, JoinWords(groupLow, groupHigh));
}
} // namespace Keld
