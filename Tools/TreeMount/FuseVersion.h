#pragma once

// The form of libfuse's interface that the project is written for. It has to be said before the first of its headers.
#define FUSE_USE_VERSION 312

#include <fuse_lowlevel.h>
