#!/usr/bin/env python3
"""Claims the driver's active user (global data 98, state 2) for this
process's own uid, as an agent coming to the console does, and prints the
driver's status. Usage: claim_active_user.py SERVICE-DIRECTORY"""

import os
import socket
import struct
import sys

from transport_page_client import DRIVER, call_scalar, hello, map_memory, request


def main():
    client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    client.connect(os.path.join(sys.argv[1], DRIVER))
    hello(client, 1)
    types = [call_scalar(client, 0, [0x10000], 1)[1][0] for _ in range(2)]
    req, rep = (map_memory(client, t) for t in types)
    params = struct.pack(">IHBB", 8, 98, 1, 0) + struct.pack(">IHH", os.getuid(), 2, 0)
    status, _ = request(client, req, rep, types[0], types[1], 2, params)
    print(status)


if __name__ == "__main__":
    main()
