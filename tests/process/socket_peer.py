"""Peers for the tests of sockets: programs that speak TCP and share no code with the library.

usage: socket_peer.py serve                   an HTTP server
       socket_peer.py relay MANNER PORT       stands between whoever connects and a port of this machine
       socket_peer.py fetch PORT              an HTTP client; prints what it has got
       socket_peer.py talk PORT               an echo client; prints "same" when what came back is what was sent

A server says "listening PORT" when it can be connected to, and runs until it is ended. The relay's manners:

  honest      passes on what comes
  drip        passes on single bytes, with a pause after each
  stall       passes on ten bytes of the answer and then nothing more
  half-close  passes on ten bytes of the answer, says that there will be no more, and goes on listening
  reset       passes on ten bytes of the answer and resets the connection
  mute        takes everything and answers nothing
  deaf        accepts and reads nothing
  full        accepts nobody, with a full queue: to connect hangs
"""

import http.server
import select
import socket
import struct
import sys
import threading
import time
import urllib.request

ANSWER_BEFORE_THE_WORST = 10
BODY = b"".join(b"%d of many lines\r\n" % number for number in range(5000))


def say(text):
    print(text, flush=True)


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Length", str(len(BODY)))
        self.end_headers()
        self.wfile.write(BODY)

    def log_message(self, *_):
        pass


def serve():
    server = http.server.HTTPServer(("127.0.0.1", 0), Handler)
    say("listening %d" % server.server_address[1])
    server.serve_forever()


def fetch(port):
    with urllib.request.urlopen("http://127.0.0.1:%d/" % port, timeout=20) as answer:
        body = answer.read()
        say("%d %d %s" % (answer.status, len(body), body[-20:].decode()))


def talk(port):
    text = b"".join(b"line %d\n" % number for number in range(200))
    received = b""
    with socket.create_connection(("127.0.0.1", port), timeout=20) as connection:
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        # Pieces that end anywhere.
        for begin in range(0, len(text), 7):
            connection.sendall(text[begin:begin + 7])
        connection.shutdown(socket.SHUT_WR)
        while part := connection.recv(1000):
            received += part
    say("same" if received == text else "other: %r" % received[-50:])


def pass_on(source, target, manner):
    """One direction, until its end."""
    try:
        while data := source.recv(4096):
            if manner != "drip":
                target.sendall(data)
                continue
            for byte in data:
                target.sendall(bytes([byte]))
                time.sleep(0.001)
        target.shutdown(socket.SHUT_WR)
    except OSError:
        pass


def answer_badly(source, target, manner):
    """The direction of the answer: a little of it, and then what the manner says."""
    left = ANSWER_BEFORE_THE_WORST
    while left > 0:
        data = source.recv(left)
        if not data:
            return
        target.sendall(data)
        left -= len(data)
    if manner == "half-close":
        target.shutdown(socket.SHUT_WR)
    elif manner == "reset":
        target.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        # A descriptor that another thread receives on is closed when that thread comes back.
        target.shutdown(socket.SHUT_RD)
        target.close()


def relay_one(ours, manner, port):
    ours.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    if manner == "mute":
        while ours.recv(4096):
            pass
        return
    if manner == "deaf":
        time.sleep(1000)
    theirs = socket.create_connection(("127.0.0.1", port))
    is_bad = manner in ("stall", "half-close", "reset")
    back = threading.Thread(target=answer_badly if is_bad else pass_on, args=(theirs, ours, manner), daemon=True)
    back.start()
    if manner == "reset":
        # Only what is needed for the answer, so that nobody else uses the connection when it is reset.
        theirs.sendall(ours.recv(4096))
        back.join()
        return
    pass_on(ours, theirs, manner)
    back.join()


def relay(manner, port):
    listening = socket.create_server(("127.0.0.1", 0), backlog=0 if manner == "full" else 10)
    address = listening.getsockname()
    queued = []
    while manner == "full":
        one = socket.socket()
        one.setblocking(False)
        one.connect_ex(address)
        queued.append(one)
        if not select.select([], [one], [], 0.3)[1]:
            break
    say("listening %d" % address[1])
    while manner == "full":
        time.sleep(1000)
    while True:
        connection, _ = listening.accept()
        threading.Thread(target=relay_one, args=(connection, manner, port), daemon=True).start()


def main(arguments):
    if arguments[0] == "serve":
        serve()
    elif arguments[0] == "relay":
        relay(arguments[1], int(arguments[2]))
    elif arguments[0] == "fetch":
        fetch(int(arguments[1]))
    elif arguments[0] == "talk":
        talk(int(arguments[1]))
    else:
        sys.exit(__doc__)


main(sys.argv[1:])
