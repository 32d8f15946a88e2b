/* Whether this process may mount through libfuse: mounts an empty file system and takes it away. */
#define FUSE_USE_VERSION 312

#include <fuse_lowlevel.h>

#include <stdlib.h>
#include <unistd.h>

int main(void)
{
    char name[] = "CanMount";
    char *words[] = {name, NULL};
    struct fuse_args arguments = FUSE_ARGS_INIT(1, words);
    struct fuse_lowlevel_ops calls = {0};
    char directory[] = "/tmp/can-mount-XXXXXX";
    if (mkdtemp(directory) == NULL)
    {
        return 1;
    }
    struct fuse_session *session = fuse_session_new(&arguments, &calls, sizeof calls, NULL);
    const int isMounted = session != NULL && fuse_session_mount(session, directory) == 0;
    if (isMounted)
    {
        fuse_session_unmount(session);
    }
    if (session != NULL)
    {
        fuse_session_destroy(session);
    }
    rmdir(directory);
    return isMounted ? 0 : 1;
}
