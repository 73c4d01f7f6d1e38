#!/usr/bin/env python3
"""A driver client written only from the transport contract, in another
language, against a real corvex-driverd: proves the wire form is all a peer
needs. Usage: transport_page_client.py PATH-TO-corvex-driverd"""

import mmap
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time

DRIVER = "com_velcorra_corvex_iokit_VelcorraMouseDriver"


def frame(opcode, body=b""):
    return struct.pack(">II", 8 + len(body), opcode) + body


def read_frame(sock):
    head = b""
    while len(head) < 8:
        chunk = sock.recv(8 - len(head))
        assert chunk, "driver closed the connection"
        head += chunk
    length, opcode = struct.unpack(">II", head)
    body = b""
    while len(body) < length - 8:
        chunk = sock.recv(length - 8 - len(body))
        assert chunk, "driver closed the connection"
        body += chunk
    return opcode, body


def hello(sock, kind):
    sock.sendall(frame(0x01, struct.pack(">III", 0x43585543, 1, kind)))
    opcode, body = read_frame(sock)
    assert opcode == 0x81 and struct.unpack(">i", body) == (0,), (opcode, body)


def call_scalar(sock, selector, inputs, n_out):
    body = struct.pack(">III", selector, len(inputs), n_out)
    body += b"".join(struct.pack(">q", v) for v in inputs)
    sock.sendall(frame(0x02, body))
    opcode, reply = read_frame(sock)
    kr, count = struct.unpack(">iI", reply[:8])
    outs = [struct.unpack(">q", reply[8 + 8 * i:16 + 8 * i])[0] for i in range(count)]
    assert opcode == 0x82
    return kr, outs


def map_memory(sock, memory_type):
    sock.sendall(frame(0x04, struct.pack(">I", memory_type)))
    data, fds, _, _ = socket.recv_fds(sock, 65536, 1)
    length, opcode = struct.unpack(">II", data[:8])
    kr, size = struct.unpack(">iQ", data[8:20])
    assert opcode == 0x84 and kr == 0 and len(fds) == 1 and length == len(data)
    mapping = mmap.mmap(fds[0], size, mmap.MAP_SHARED, mmap.PROT_READ | mmap.PROT_WRITE)
    os.close(fds[0])
    return mapping


def checksum(payload):
    return (0x4321 + sum(payload)) & 0x7FFF


def transfer_block(payload):
    length = 4 + len(payload) + 2
    return struct.pack(">I", length) + payload + struct.pack(">H", checksum(payload))


def request(sock, req, rep, req_type, rep_type, code, params=b""):
    block = transfer_block(struct.pack(">I", code) + params)
    req[: len(block)] = block
    kr, (reply_length,) = call_scalar(sock, 4, [req_type, rep_type], 1)
    assert kr == 0 and reply_length < len(rep), (kr, reply_length)
    (length,) = struct.unpack(">I", rep[:4])
    assert length == reply_length
    payload = bytes(rep[4:length - 2])
    assert struct.unpack(">H", rep[length - 2:length])[0] == checksum(payload)
    (status,) = struct.unpack(">h", payload[:2])
    return status, payload[2:]


def main():
    daemon = sys.argv[1]
    with tempfile.TemporaryDirectory() as folder:
        env = dict(os.environ, CORVEX_IOKIT_DIR=folder)
        proc = subprocess.Popen([daemon], env=env, stdout=subprocess.DEVNULL)
        try:
            path = os.path.join(folder, DRIVER)
            for _ in range(100):
                if os.path.exists(path):
                    break
                time.sleep(0.05)
            client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            client.connect(path)
            hello(client, 1)
            notes = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            notes.connect(path)
            hello(notes, 2)

            types = []
            for _ in range(2):
                kr, (memory_type,) = call_scalar(client, 0, [0x10000], 1)
                assert kr == 0
                types.append(memory_type)
            req, rep = (map_memory(client, t) for t in types)

            status, info = request(client, req, rep, types[0], types[1], 11)  # GetMouseInfo
            size, version, revision = struct.unpack(">HHB", info[:5])
            assert (len(info), size, version, revision) == (180, 180, 0x0300, 1), info[:8]

            # CXAccessGlobalData: length, index 98, mode 1 (write), one unset byte,
            # then the active-user record: uid, state 2, two unset bytes.
            uid = os.getuid()
            params = struct.pack(">IHBB", 8, 98, 1, 0) + struct.pack(">IHH", uid, 2, 0)
            status, _ = request(client, req, rep, types[0], types[1], 2, params)
            assert status > 0, status
            opcode, body = read_frame(notes)
            message, argument = struct.unpack(">IQ", body)
            assert (opcode, message, argument) == (0x90, 0xF948800E, uid), (opcode, hex(message))

            kr, _ = call_scalar(client, 1, [types[0]], 1)
            assert kr == 0
            print("1 passed, 0 failed")
        finally:
            proc.terminate()
            proc.wait(timeout=10)


if __name__ == "__main__":
    main()
