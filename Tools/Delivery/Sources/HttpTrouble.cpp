#include "Tools/Delivery/Sources/HttpTrouble.h"

#include <curl/curl.h>

namespace Keld::Delivery
{
bool IsPassingCode(int code)
{
    switch (code)
    {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return true;
    default:
        return false;
    }
}

bool IsPassingStatus(long status)
{
    constexpr long timeout = 408;
    constexpr long early = 425;
    constexpr long tooMany = 429;
    constexpr long firstOfServer = 500;
    constexpr long notImplemented = 501;
    return status == timeout || status == early || status == tooMany ||
           (status >= firstOfServer && status != notImplemented);
}
} // namespace Keld::Delivery
