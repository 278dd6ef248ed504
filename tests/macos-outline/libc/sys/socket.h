#pragma once

#include_next <sys/socket.h>

/// Bytes in the send buffer that the peer has not acknowledged: `int`, level SOL_SOCKET.
#define SO_NWRITE 0x1024
