"""Simulated devices: sockets that speak the text protocol of nats-server, served by one epoll."""
import errno
import itertools
import json
import random
import select
import socket
import ssl
import time

from fleetlib.broker import HOST, free_port

# The delays between two attempts to connect, in seconds; a random part of up to a half is left out.
FIRST_DELAY, LONGEST_DELAY = 0.02, 1.0
# The bytes of the payload of a request, and of its answer.
PAYLOAD = b"x" * 100
INBOX = b"_INBOX.fleet"
SEARCH_SUBJECT = b"kova.device.@a"


def instance_subject(number):
    return b"kova.device.d%07d.@q" % number


def subjects_of(number, count):
    """Returns the subscriptions of a device, as (subject, queue group), the first `count` of them.

    A server of a service with an instance name has four: requests to it, requests to any server, what
    clients say about open requests, and searches for instances. The three of the services protocol make
    seven.
    """
    identity = b"%022d" % number
    subjects = [(instance_subject(number), b"q"), (b"kova.device.@q", b"q"),
                (b"kova.@c." + identity + b".*", b""), (SEARCH_SUBJECT, b"")]
    for name in (b"", b".device", b".device." + identity):
        subjects.append((b"$SRV.*" + name, b""))
    return subjects[:count]


class Connection:
    """One connection to a broker, which connects again when it is lost."""

    def __init__(self, fleet, port, subjects, on_message, context=None):
        self._fleet = fleet
        self._port = port
        self._on_message = on_message
        self._context = context
        options = {"verbose": False, "pedantic": False, "headers": True, "no_responders": True,
                   "lang": "fleet", "version": "1", "tls_required": context is not None}
        self._hello = b"CONNECT " + json.dumps(options).encode() + b"\r\n" + b"".join(
            b"SUB %s %s %d\r\n" % (subject, queue, sid)
            for sid, (subject, queue) in enumerate(subjects, 1)) + b"PING\r\n"
        self._socket = None
        self._delay = FIRST_DELAY
        self.attempts = 0

    def connect(self):
        self.attempts += 1
        self._input, self._output = b"", b""
        self._is_ready, self._is_secure = False, False
        self._socket = socket.socket()
        self._socket.setblocking(False)
        self._socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._watched = select.EPOLLIN | select.EPOLLOUT
        result = self._socket.connect_ex((HOST, self._port))
        self._fleet.add(self._socket.fileno(), self, self._watched)
        if result not in (0, errno.EINPROGRESS):
            self._lose()

    def close(self):
        if self._socket:
            self._fleet.remove(self._socket.fileno(), self._is_ready)
            self._socket.close()
            self._socket = None

    def send(self, data):
        self._output += data
        self._flush()

    def on_event(self, events):
        try:
            if events & select.EPOLLIN or self._is_secure is None:
                self._read()
            if self._socket and events & (select.EPOLLERR | select.EPOLLHUP):
                self._lose()
            elif self._socket:
                self._flush()
        except (ssl.SSLWantReadError, ssl.SSLWantWriteError):
            pass
        except OSError:
            self._lose()

    def _lose(self):
        self.close()
        self._fleet.later(self._delay * (1 - random.random() / 2), self)
        self._delay = min(2 * self._delay, LONGEST_DELAY)

    def _flush(self):
        if self._output and self._is_secure is not None:
            try:
                self._output = self._output[self._socket.send(self._output):]
            except (BlockingIOError, ssl.SSLWantWriteError):
                pass
            except OSError:
                self._lose()
                return
        wanted = select.EPOLLIN | (select.EPOLLOUT if self._output else 0)
        if wanted != self._watched:
            self._watched = wanted
            self._fleet.change(self._socket.fileno(), wanted)

    def _read(self):
        if self._is_secure is None:
            self._shake_hands()
        while self._socket:
            try:
                data = self._socket.recv(65536)
            except (BlockingIOError, ssl.SSLWantReadError):
                return
            if not data:
                self._lose()
                return
            self._input += data
            self._parse()
            if self._is_secure is None:
                self._shake_hands()

    def _shake_hands(self):
        if not isinstance(self._socket, ssl.SSLSocket):
            self._socket = self._context.wrap_socket(self._socket, do_handshake_on_connect=False)
        self._socket.do_handshake()  # raises SSLWantReadError until it is complete
        self._is_secure = True
        self.send(self._hello)

    def _parse(self):
        at = 0
        while True:
            end = self._input.find(b"\r\n", at)
            if end < 0:
                break
            words = self._input[at:end].split(b" ")
            after = end + 2
            if words[0] in (b"MSG", b"HMSG"):
                after += int(words[-1]) + 2
                if len(self._input) < after:
                    break
                reply = words[3] if len(words) == (5 if words[0] == b"MSG" else 6) else b""
                self._on_message(self, words[1], reply, words[0] == b"HMSG")
            else:
                self._control(words[0], self._input[at:end])
            at = after
        self._input = self._input[at:]

    def _control(self, word, line):
        if word == b"INFO" and not self._is_ready:
            if self._context:
                self._is_secure = None
            else:
                self.send(self._hello)
        elif word == b"PING":
            self._fleet.pings += 1
            self.send(b"PONG\r\n")
        elif word == b"PONG" and not self._is_ready:
            self._is_ready, self._delay = True, FIRST_DELAY
            self._fleet.ready += 1
        elif word == b"-ERR":
            raise RuntimeError("nats-server says " + line.decode())


def answer(device, _subject, reply, _has_headers):
    """Answers each request with one message."""
    if reply:
        device.send(b"PUB %s %d\r\n%s\r\n" % (reply, len(PAYLOAD), PAYLOAD))


class Fleet:
    """Connections, served by one epoll. `with` closes them all."""

    def __init__(self):
        self._epoll = select.epoll()
        self._handlers = {}
        self._timers = []
        self.ready = 0  # connections whose subscriptions the broker has confirmed
        self.pings = 0  # pings that brokers have sent
        self.devices = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for handler in set(self._handlers.values()):
            handler.close()
        self._epoll.close()

    def add(self, descriptor, handler, events):
        self._handlers[descriptor] = handler
        self._epoll.register(descriptor, events)

    def change(self, descriptor, events):
        self._epoll.modify(descriptor, events)

    def remove(self, descriptor, was_ready=False):
        del self._handlers[descriptor]
        self._epoll.unregister(descriptor)
        self.ready -= was_ready

    def later(self, delay, connection):
        self._timers.append((time.monotonic() + delay, connection))

    def run(self, is_over, limit=120):
        """Serves the connections until `is_over` returns true. Raises TimeoutError after `limit` s."""
        deadline = time.monotonic() + limit
        while not is_over():
            now = time.monotonic()
            if now > deadline:
                raise TimeoutError(f"{self.ready} of {len(self.devices)} devices are connected")
            due = [connection for at, connection in self._timers if at <= now]
            self._timers = [timer for timer in self._timers if timer[0] > now]
            for connection in due:
                connection.connect()
            for descriptor, events in self._epoll.poll(0.01):
                handler = self._handlers.get(descriptor)
                if handler:
                    handler.on_event(events)

    def run_for(self, seconds):
        end = time.monotonic() + seconds
        self.run(lambda: time.monotonic() >= end, seconds + 60)

    def connect(self, port, count, subscriptions, context=None):
        """Connects further devices, and waits until the broker has confirmed their subscriptions.

        At most 500 connect at the same time.
        """
        target = self.ready + count
        first = len(self.devices)
        for number in range(first, first + count):
            self.run(lambda: len(self.devices) - self.ready < 500)
            device = Connection(self, port, subjects_of(number, subscriptions), answer, context)
            self.devices.append(device)
            device.connect()
        self.run(lambda: self.ready >= target)

    def request(self, port, count, in_flight=50):
        """Sends requests to all devices in turn, in random order, and waits for the answers.

        Raises RuntimeError if the broker knows no device for a request.
        """
        order = random.sample(range(len(self.devices)), len(self.devices))
        sent, answered = itertools.count(), set()

        def send(client):
            number = next(sent)
            if number < count:
                client.send(b"PUB %s %s.%d %d\r\n%s\r\n" % (
                    instance_subject(order[number % len(order)]), INBOX, number, len(PAYLOAD), PAYLOAD))

        def receive(client, subject, _reply, has_headers):
            if has_headers:
                raise RuntimeError("a request reached no device")
            answered.add(subject)
            send(client)

        client = Connection(self, port, [(INBOX + b".*", b"")], receive)
        target = self.ready + 1
        client.connect()
        self.run(lambda: self.ready >= target)
        for _ in range(in_flight):
            send(client)
        self.run(lambda: len(answered) >= count)
        client.close()

    def search(self, port, count):
        """Searches for all devices, one search after the other, and waits for the answers."""
        answers = 0

        def receive(_client, _subject, _reply, _has_headers):
            nonlocal answers
            answers += 1

        client = Connection(self, port, [(INBOX + b".*", b"")], receive)
        target = self.ready + 1
        client.connect()
        self.run(lambda: self.ready >= target)
        for number in range(1, count + 1):
            expected = number * len(self.devices)
            client.send(b"PUB %s %s.0 10\r\n%s\r\n" % (SEARCH_SUBJECT, INBOX, b"s" * 10))
            self.run(lambda: answers >= expected)  # each search is over before the next one
        client.close()

    def refuses(self, port, seconds=1):
        """Returns whether the broker says within some seconds that nobody receives a request."""
        refusals = []
        client = Connection(self, port, [(INBOX + b".*", b"")],
                            lambda _client, _subject, _reply, has_headers: refusals.append(has_headers))
        target = self.ready + 1
        client.connect()
        self.run(lambda: self.ready >= target)
        client.send(b"PUB %s %s.0 0\r\n\r\n" % (instance_subject(len(self.devices)), INBOX))
        end = time.monotonic() + seconds
        self.run(lambda: refusals or time.monotonic() > end)
        client.close()
        return refusals == [True]


class Relay:
    """Passes the bytes between a listening port and another one on, and counts them both ways."""

    class _Side:
        def __init__(self, relay, end, name):
            self.relay, self.socket, self.name = relay, end, name
            self.other, self.output = None, b""

        def on_event(self, events):
            if events & (select.EPOLLIN | select.EPOLLHUP | select.EPOLLERR):
                try:
                    data = self.socket.recv(1 << 20)
                except BlockingIOError:
                    data = None
                if data == b"":
                    self.close()
                    self.other.close()
                    return
                if data:
                    self.relay.bytes[self.name] += len(data)
                    self.other.output += data
            self.flush()
            self.other.flush()

        def flush(self):
            if self.socket and self.output:
                try:
                    self.output = self.output[self.socket.send(self.output):]
                except BlockingIOError:
                    pass
            if self.socket:
                self.relay.fleet.change(self.socket.fileno(),
                                        select.EPOLLIN | (select.EPOLLOUT if self.output else 0))

        def close(self):
            if self.socket:
                self.relay.fleet.remove(self.socket.fileno())
                self.socket.close()
                self.socket = None

    def __init__(self, fleet, target):
        self.fleet, self._target = fleet, target
        self.port = free_port()
        self.bytes = {"out": 0, "back": 0}  # from those that connect, and to them
        self._listener = socket.create_server((HOST, self.port))
        fleet.add(self._listener.fileno(), self, select.EPOLLIN)

    def on_event(self, _events):
        near = self._listener.accept()[0]
        far = socket.create_connection((HOST, self._target))
        sides = (self._Side(self, near, "out"), self._Side(self, far, "back"))
        sides[0].other, sides[1].other = sides[1], sides[0]
        for side in sides:
            side.socket.setblocking(False)
            self.fleet.add(side.socket.fileno(), side, select.EPOLLIN)

    def close(self):
        if self._listener.fileno() >= 0:
            self.fleet.remove(self._listener.fileno())
            self._listener.close()
