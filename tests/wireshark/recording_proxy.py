"""A TCP proxy on the loopback that records what passes as a capture, as tcpdump would between panel and PLC: for tests, which
have no rights to capture. Each piece that arrives is a segment."""
import socket
import struct
import threading
import time

from capture import ACK, FIN, PSH, RST, Connection


class RecordingProxy:
    """A context manager. `port` is where clients find the PLC that listens on `plc_port`."""

    def __init__(self, capture, plc_port):
        self.capture, self.plc_port = capture, plc_port
        self.lock = threading.Lock()
        self.begun = time.monotonic()
        self.threads = []
        self.sockets = []

    def __enter__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start(self.accept)
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        for one in self.sockets:
            try:
                one.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        for thread in self.threads:
            thread.join(60)
        for one in self.sockets:
            one.close()

    def start(self, function, *arguments):
        self.threads.append(threading.Thread(target=function, args=arguments, daemon=True))
        self.threads[-1].start()

    def accept(self):
        while True:
            try:
                panel, address = self.listener.accept()
            except OSError:
                return
            plc = socket.create_connection(("127.0.0.1", self.plc_port))
            for one in (panel, plc):
                one.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                self.sockets.append(one)
            with self.lock:
                self.capture.now = time.monotonic() - self.begun
                link = Connection(self.capture, panel_port=address[1])
            self.start(self.pass_on, link, True, panel, plc)
            self.start(self.pass_on, link, False, plc, panel)

    def record(self, link, from_panel, data, flags):
        with self.lock:
            self.capture.now = time.monotonic() - self.begun
            link.segment(from_panel, data, flags)
            link.sequence[from_panel] += 1 if flags & FIN else 0

    def pass_on(self, link, from_panel, source, target):
        while True:
            try:
                data = source.recv(65536)
            except OSError:
                self.record(link, from_panel, b"", RST | ACK)
                # Resets the other side, too: with this, closing sends no orderly end.
                target.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                target.shutdown(socket.SHUT_RDWR)
                return
            try:
                if not data:
                    self.record(link, from_panel, b"", FIN | ACK)
                    target.shutdown(socket.SHUT_WR)
                    return
                self.record(link, from_panel, data, PSH | ACK)
                target.sendall(data)
            except OSError:
                return
