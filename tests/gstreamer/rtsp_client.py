"""An RTSP client (RFC 2326) that says what the test wants it to say, and takes packets through the connection."""
import collections
import socket
import struct
import time


Response = collections.namedtuple("Response", "status headers body")


class Client:
    def __init__(self, port, path):
        self.url = f"rtsp://127.0.0.1:{port}/{path}"
        self.socket = socket.create_connection(("127.0.0.1", port), 20)
        self._incoming = self.socket.makefile("rb")
        self._number = 0
        self.session = None
        self.packets = {0: [], 2: []}  # RTP, by channel
        self.goodbyes = set()          # channels of RTCP whose sender has left

    def close(self):
        self._incoming.close()
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def send(self, method, url=None, **headers):
        self._number += 1
        lines = [f"{method} {url or self.url} RTSP/1.0", f"CSeq: {self._number}"]
        lines += [f"Session: {self.session}"] if self.session else []
        lines += [f"{name}: {value}" for name, value in headers.items()]
        self.socket.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())

    def ask(self, method, url=None, **headers):
        self.send(method, url, **headers)
        while (response := self._take()) is None:
            pass
        if "session" in response.headers:
            self.session = response.headers["session"].split(";")[0]
        return response

    def set_up(self, tracks, transport="RTP/AVP/TCP;unicast;interleaved={0}-{1}"):
        for track in range(tracks):
            response = self.ask("SETUP", f"{self.url}/stream={track}", Transport=transport.format(2 * track, 2 * track + 1))
            if response.status != 200:
                return response
        return response

    def take_until_goodbye(self, tracks, seconds=20):
        deadline = time.monotonic() + seconds
        while len(self.goodbyes) < tracks and time.monotonic() < deadline:
            self._take()

    def _take(self):
        """A response, or None after a packet."""
        first = self._incoming.read(1)
        if not first:
            raise ConnectionError("the server has closed the connection")
        if first == b"$":
            channel, size = struct.unpack(">BH", self._incoming.read(3))
            self._note(channel, self._incoming.read(size))
            return None
        status = int((first + self._incoming.readline()).split()[1])
        headers = {}
        while line := self._incoming.readline().strip().decode():
            name, value = line.split(":", 1)
            headers[name.lower()] = value.strip()
        return Response(status, headers, self._incoming.read(int(headers.get("content-length", 0))).decode())

    def _note(self, channel, packet):
        if channel in self.packets:
            self.packets[channel].append(packet)
        at = 0
        while channel not in self.packets and at + 4 <= len(packet):
            if packet[at + 1] == 203:
                self.goodbyes.add(channel)
            at += 4 + 4 * struct.unpack_from(">H", packet, at + 2)[0]
