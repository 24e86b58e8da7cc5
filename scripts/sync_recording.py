#!/usr/bin/env python3
"""Records a synchronisation as a capture file, without a capture's rights: stands between a device and its host.

    scripts/sync_recording.py FILE.pcap HOST:PORT COMMAND...

Runs COMMAND, in whose words {port} stands for a port of this machine that leads to HOST:PORT, and keeps what went both
ways. The exit status is COMMAND's. To see it:

    tshark -X lua_script:docs/formats/tellira-sync.lua -d tcp.port==5555,tellira_sync -r FILE.pcap
"""
import select
import socket
import struct
import subprocess
import sys
import threading
import time

RECORDED_HOST_PORT = 5555  # of every recording, so that it tells nothing of the machine
LARGEST_SEGMENT = 1400
DEVICE, HOST = bytes((192, 0, 2, 1)), bytes((192, 0, 2, 2))  # addresses that documents use
SYN, PSH, ACK, FIN = 2, 8, 16, 1


class Recording:
    """A capture file of TCP connections; what was said on them is real, their packets are put together here."""

    def __init__(self, path, clock=time.time):
        self.file = open(path, "wb")
        self.file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))  # 101: packets begin with IP
        self.clock, self.connections, self.lock = clock, 0, threading.Lock()

    def connection(self):
        self.connections += 1
        return Connection(self, 40000 + self.connections)

    def write(self, packet):
        seconds = self.clock()
        head = struct.pack("<IIII", int(seconds), int(seconds % 1 * 1e6), len(packet), len(packet))
        with self.lock:
            self.file.write(head + packet)
            self.file.flush()


class Connection:
    def __init__(self, recording, port):
        self.recording, self.port = recording, port
        self.next = {True: 1000, False: 2000}  # sequence numbers, by whether the device sends
        self.segment(True, SYN)
        self.segment(False, SYN | ACK)
        self.segment(True, ACK)

    def segment(self, from_device, flags, data=b""):
        ends = (self.port, RECORDED_HOST_PORT)
        source, target = ends if from_device else ends[::-1]
        tcp = struct.pack(">HHIIBBHHH", source, target, self.next[from_device], self.next[not from_device],
                          0x50, flags, 65535, 0, 0)
        addresses = DEVICE + HOST if from_device else HOST + DEVICE
        ip = struct.pack(">BBHHHBBH", 0x45, 0, 40 + len(data), 0, 0x4000, 64, 6, 0)
        self.recording.write(ip + addresses + tcp + data)
        self.next[from_device] += len(data) + (1 if flags & (SYN | FIN) else 0)

    def say(self, from_device, data, size=LARGEST_SEGMENT):
        for start in range(0, len(data), size):
            self.segment(from_device, PSH | ACK, data[start:start + size])

    def end(self, from_device):
        self.segment(from_device, FIN | ACK)


def relay(device, host, connection):
    """Passes bytes on until both have said all."""
    for end in (device, host):
        end.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    open_ends = {device: (host, True), host: (device, False)}
    while open_ends:
        for end in select.select(list(open_ends), [], [])[0]:
            other, from_device = open_ends[end]
            try:
                data = end.recv(65536)
                if data:
                    other.sendall(data)
            except OSError:
                data = b""
            if data:
                connection.say(from_device, data)
                continue
            connection.end(from_device)
            del open_ends[end]
            try:
                other.shutdown(socket.SHUT_WR)
            except OSError:
                pass


def serve(listener, address, recording):
    while True:
        try:
            device = listener.accept()[0]
        except OSError:
            return
        try:
            host = socket.create_connection(address)
        except OSError as error:
            print(f"the host at {address[0]}:{address[1]} does not answer: {error}", file=sys.stderr)
            device.close()
            continue
        relay(device, host, recording.connection())
        device.close()
        host.close()


def record(path, address, command):
    listener = socket.create_server(("127.0.0.1", 0))
    port = str(listener.getsockname()[1])
    relaying = threading.Thread(target=serve, args=(listener, address, Recording(path)), daemon=True)
    relaying.start()
    status = subprocess.call([word.replace("{port}", port) for word in command])
    listener.shutdown(socket.SHUT_RDWR)
    relaying.join(5)
    return status


def main(words):
    if len(words) < 3 or ":" not in words[1]:
        print(__doc__, file=sys.stderr)
        return 2
    host, port = words[1].rsplit(":", 1)
    return record(words[0], (host, int(port)), words[2:])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
