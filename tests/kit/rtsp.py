"""A server for one RTSP client (RFC 2326) that sends packets over the same connection: nothing is lost, nothing waits."""
import socket
import struct
import threading

SESSION_HEAD = "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=test\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"


class Server:
    """`media`: for each stream its SDP section, which names `control`, and its packets."""

    def __init__(self, media):
        self._media = media
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"rtsp://127.0.0.1:{self._listener.getsockname()[1]}/test"
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def close(self):
        self._listener.close()
        self._thread.join(30)

    def _serve(self):
        with self._listener.accept()[0] as client:
            requests = client.makefile("rb")
            while line := requests.readline():
                method = line.split()[0].decode()
                headers = {}
                while (field := requests.readline().strip()):
                    name, value = field.decode().split(":", 1)
                    headers[name.lower()] = value.strip()
                self._answer(client, method, headers)
                if method == "PLAY":
                    self._send(client)
                    return

    def _answer(self, client, method, headers):
        body = ""
        answer = f"RTSP/1.0 200 OK\r\nCSeq: {headers['cseq']}\r\nSession: 1\r\n"
        if method == "DESCRIBE":
            body = SESSION_HEAD + "".join(section for section, _ in self._media)
            answer += f"Content-Type: application/sdp\r\nContent-Length: {len(body)}\r\n"
        if method == "SETUP":
            answer += f"Transport: {headers['transport']}\r\n"
        client.sendall((answer + "\r\n" + body).encode())

    # A client may go away before the end.
    def _send(self, client):
        try:
            for number, (_, packets) in enumerate(self._media):
                client.sendall(b"".join(struct.pack(">cBH", b"$", 2 * number, len(p)) + p for p in packets))
        except OSError:
            pass
