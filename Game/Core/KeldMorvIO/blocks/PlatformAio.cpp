#include "KeldMorvIO/blocks/AioCalls.h"

namespace Keld::MORV::Reader
{
int AioRead(AioControlBlock &block)
{
    return aio_read(&block);
}

int AioSuspend(const AioControlBlock &block, const timespec *limit)
{
    const aiocb *const list[] = {&block};
    return aio_suspend(list, 1, limit);
}

int AioError(const AioControlBlock &block)
{
    return aio_error(&block);
}

ssize_t AioReturn(AioControlBlock &block)
{
    return aio_return(&block);
}
} // namespace Keld::MORV::Reader
