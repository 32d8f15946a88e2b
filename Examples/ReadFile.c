/* Prints a file of a release:
 *
 *     ReadFile RELEASE_DIRECTORY PATH
 *
 * It asks for what is left until all is there: a read may deliver less than was wanted.
 */
#include <KeldMorvIO.h>

#include <stdio.h>

int main(int argumentCount, char **arguments)
{
    static char buffer[65536];
    if (argumentCount != 3 || MorvInitialize(0, 0, 0, arguments[1]) < 0)
    {
        return 2;
    }
    OpenFileHandle *const file = MorvOpenFile(arguments[2]);
    const int64_t size = MorvGetFileSize(file); /* -1 without a file */
    int64_t offset = 0;
    while (offset < size)
    {
        const int64_t left = size - offset;
        const uint32_t wanted = left < (int64_t)sizeof buffer ? (uint32_t)left : (uint32_t)sizeof buffer;
        uint32_t count = 0;
        if (MorvRead(file, (uint64_t)offset, wanted, &count, buffer) < 0 || count == 0)
        {
            break; /* the read failed, or the stored bytes end too early */
        }
        fwrite(buffer, 1, count, stdout);
        offset += count;
    }
    MorvCloseFile(file);
    MorvShutdown();
    return offset == size ? 0 : 1;
}
