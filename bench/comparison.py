#!/usr/bin/env python3
"""Measures each operation on files in a scratch directory, with each service in turn.

The client prepares its requests before the measurement and decodes the answers after it. The times
therefore contain only the service, writing the requests and reading the answers. Python adds one or two
microseconds for each answer; sftp-server gives several answers for most operations."""
import argparse
import base64
import collections
import gc
import itertools
import json
import os
import random
import shutil
import statistics
import struct
import subprocess
import time

SMALL, BIG = 4096, 19_999_999

# `size` is in bytes, or in entries for a list. The targets are minimums for the ratio of the other
# service's time to ours; the report marks lower ratios.
Operation = collections.namedtuple(
    "Operation", "name verb jobs size is_text sftp_target node_target", defaults=(True, 0, 0))
OPERATIONS = [
    Operation("open and read 4 KiB", "open", 300, SMALL, True, 3.0, 8.0),
    Operation("open and read 4 KiB (SFTP: 2 trips)", "open in two trips", 300, SMALL, True, 1.7, 8.0),
    Operation("list 10,000 entries", "list", 1, 10_000, True, 1.2, 5.0),
    Operation("read 19,999,999 bytes of text", "open", 1, BIG, True, 1.0, 8.0),
    Operation("read 19,999,999 bytes, not text", "open", 1, BIG, False, 0.9, 8.0),
    Operation("create 4 KiB", "create", 300, SMALL, True, 2.0, 3.5),
    Operation("update 4 KiB", "update", 300, SMALL, True, 2.5, 3.5),
    Operation("rename", "rename", 300, SMALL, True, 1.1, 3.5),
    Operation("delete", "delete", 300, SMALL, True, 1.2, 3.5),
    Operation("move 19,999,999 bytes", "move", 1, BIG, True, 1.2, 3.5),
    Operation("create 19,999,999 bytes, not text", "create", 1, BIG, False, 0.5, 3.5),
]

# Only for our host: the time per byte or entry may grow by this factor at most.
GROWTH_TARGET = 1.3
GROWTHS = [
    ("list, from 100 to 100,000 entries",
     Operation("", "list", 20, 100), Operation("", "list", 1, 100_000)),
    ("read, from 1 MB to 19,999,999 bytes",
     Operation("", "open", 5, 1_000_000), Operation("", "open", 1, BIG)),
]


def require(holds, complaint):
    if not holds:
        raise RuntimeError(complaint)


class Task:
    """An operation on files in a directory. A job is a path before and after the operation; the latter is
    None if the operation deletes the file. `expected` is the size, number of entries or
    contents that the answers must show."""

    def __init__(self, operation, directory):
        self.verb, self.is_text, self.directory = operation.verb, operation.is_text, directory
        paths = [f"{directory}/file-{index}" for index in range(operation.jobs)]
        after = {"rename": lambda path: path + ".renamed", "delete": lambda path: None,
                 "move": lambda path: f"{directory}/target/{os.path.basename(path)}"}
        self.jobs = [(path, after.get(self.verb, str)(path)) for path in paths]
        self.entries = operation.size if self.verb == "list" else 0
        size = 0 if self.entries else operation.size
        noise = random.Random(1)
        line = bytes(noise.choices(range(ord("a"), ord("z") + 1), k=63)) + b"\n"
        self.contents = (line * (size // 64 + 1))[:size] if self.is_text else noise.randbytes(size)
        self.expected = {"list": self.entries, "open": self.contents, "open in two trips": self.contents,
                         "delete": 0}.get(self.verb, size)

    def prepare_disk(self):
        shutil.rmtree(self.directory, ignore_errors=True)
        os.makedirs(self.directory + "/target")
        for path, _ in self.jobs:
            if self.verb == "list":
                os.mkdir(path)
                for index in range(self.entries):
                    write_file(f"{path}/entry-{index}", b"x" * (index % 100))
            elif self.verb != "create":
                write_file(path, b"before" if self.verb == "update" else self.contents)

    def check_disk(self):
        for path, after in self.jobs:
            require(after == path or not os.path.lexists(path), f"does not remove {path}")
            if after and self.verb != "list":
                with open(after, "rb") as file:
                    require(file.read() == self.contents, f"leaves other contents in {after}")


def write_file(path, contents):
    with open(path, "wb") as file:
        file.write(contents)


class Service:
    """A running service. A step is the bytes to send, then the required prefix of each answer to receive."""

    def __init__(self, name, *command):
        self.name = name
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.process, self.input, self.output = process, process.stdin.fileno(), process.stdout.fileno()
        self.buffer = bytearray(64 << 20)
        self.view = memoryview(self.buffer)
        self.start = self.end = 0 # the received bytes that do not belong to an answer yet
        self.answers = [] # views of the buffer, valid until the next call of `time`

    def stop(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait()

    def time(self, steps):
        """Executes the steps and returns the seconds."""
        self.start = self.end = 0
        self.answers = []
        start = time.perf_counter()
        for request, prefixes in steps:
            if request:
                os.write(self.input, request)
            for _ in prefixes:
                self.answers.append(self.receive())
        return time.perf_counter() - start

    def receive(self):
        while (stop := self.find_end()) is None:
            count = os.readv(self.output, [self.view[self.end:]])
            require(count, "has ended")
            self.end += count
        start, self.start = self.start, stop
        return self.view[start:stop]

    def check(self, task, steps):
        """Requires that every answer starts as its step demands, and that the result is as expected."""
        prefixes = [prefix for _, prefixes in steps for prefix in prefixes]
        answers = [self.without_header(bytes(answer)) for answer in self.answers]
        for answer, prefix in zip(answers, prefixes, strict=True):
            require(answer.startswith(prefix), f"answers {answer[:500]} instead of {prefix}...")
        require(self.result(task, answers) == task.expected,
                "reports a wrong size, number of entries or contents")


class JsonService(Service):
    """A service that exchanges our messages as JSON-RPC."""

    def __init__(self, name, *command, has_headers=False):
        super().__init__(name, *command)
        self.has_headers = has_headers

    def steps(self, task):
        return [(self.request(task, *job), [b'{"jsonrpc":"2.0","id":1,"result":{']) for job in task.jobs]

    def request(self, task, path, after):
        contents = ({"contents": task.contents.decode()} if task.is_text else
                    {"contents": base64.b64encode(task.contents).decode(), "encoding": "base64"})
        file = {"file": {"location": path, **contents}}
        method, params = {
            "list": ("ListFolder", {"path": path}),
            "create": ("CreateFile", file),
            "update": ("UpdateFile", file),
            "rename": ("RenameFile", {"originalFileInfo": path, "newFileInfo": after}),
            "move": ("MoveFile", {"srcPath": path, "destPath": os.path.dirname(after or "")}),
            "delete": ("DeleteFile", {"path": path}),
        }.get(task.verb, ("OpenFile", {"path": path}))
        body = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "connector/v1/" + method,
                           "params": params}, separators=(",", ":")).encode()
        return b"Content-Length: %d\r\n\r\n%b" % (len(body), body) if self.has_headers else body + b"\n"

    def find_end(self):
        if not self.has_headers: # one answer at a time: complete when the buffer ends in a line break
            return self.end if self.end > self.start and self.buffer[self.end - 1] == ord("\n") else None
        blank = self.buffer.find(b"\r\n\r\n", self.start, self.end)
        if blank < 0:
            return None
        end = blank + 4 + int(self.buffer[self.start + len("Content-Length: "):blank])
        return end if end <= self.end else None

    @staticmethod
    def without_header(answer):
        return answer[answer.find(b"{"):]

    @staticmethod
    def result(task, answers):
        for answer in answers:
            require(b'"messageFaults":[]' in answer, f"answers {answer[:500]}")
        result = json.loads(answers[-1])["result"]
        if task.verb == "list":
            return len(result["folderContents"])
        file = result.get("file") or result.get("newFileInfo") or result["fileInfo"]
        if "contents" not in file:
            return file["size"]
        decode = base64.b64decode if file["encoding"] == "base64" else str.encode
        return decode(file["contents"])


# SFTP, version 3. The types of requests and of answers:
INIT, OPEN, CLOSE, READ, WRITE, FSTAT, FSETSTAT, OPENDIR, READDIR = 1, 3, 4, 5, 6, 8, 10, 11, 12
REMOVE, STAT, RENAME, EXTENDED = 13, 17, 18, 200
VERSION, STATUS, HANDLE, DATA, NAME, ATTRIBUTES = 2, 101, 102, 103, 104, 105
# Flags for opening a file, flags for the attributes that a message contains, and statuses:
TO_READ, TO_REWRITE, TO_CREATE = 1, 2 | 16, 2 | 8 | 32
NONE, PERMISSIONS, TIMES, ALL = 0, 4, 8, 15
END_OF_FILE, NO_SUCH_FILE = 1, 2

PIECE, IN_FLIGHT, NAMES_PER_ANSWER = 32768, 64, 100

LENGTH = struct.Struct(">I")
u32, u64 = LENGTH.pack, struct.Struct(">Q").pack


def sftp_string(data):
    data = data.encode() if isinstance(data, str) else data
    return u32(len(data)) + data


def joined(steps):
    return b"".join(request for request, _ in steps), [prefix for _, prefixes in steps for prefix in prefixes]


def pipelined(steps):
    """Yields steps that each send half of IN_FLIGHT requests, then wait for the previous half's answers."""
    halves = [joined(steps[at:at + IN_FLIGHT // 2]) for at in range(0, len(steps), IN_FLIGHT // 2)]
    nothing = (b"", [])
    for (request, _), (_, prefixes) in zip(halves + [nothing], [nothing] + halves):
        yield request, prefixes


class SftpService(Service):
    """sftp-server, used as OpenSSH's own client uses it: each request waits for the previous answer, but
    the pieces of a file's contents are in flight together. Only "open in two trips" also sends the close with
    the reads. The server numbers its handles from 0 and
    reuses the one that was closed last, so requests can be prepared before a handle is known."""

    def __init__(self):
        super().__init__("sftp-server", "/usr/lib/openssh/sftp-server")
        self.ids = itertools.count(3) # the first request has the protocol version in place of an id
        self.time([self.ask(INIT, answer=VERSION, prefix=b"")])

    def ask(self, kind, *fields, answer=STATUS, prefix=u32(0)):
        """Returns the step of one request. By default, the answer must be a status of 0."""
        number = u32(next(self.ids))
        body = bytes([kind]) + number + b"".join(fields)
        return u32(len(body)) + body, [bytes([answer]) + number + prefix]

    def open(self, path, flags, *attributes, handle=0):
        fields = [sftp_string(path), u32(flags), *(attributes or [u32(NONE)])]
        return self.ask(OPEN, *fields, answer=HANDLE, prefix=sftp_string(u32(handle)))

    def describe(self, kind, file):
        return self.ask(kind, file, answer=ATTRIBUTES, prefix=u32(ALL))

    def steps(self, task):
        return [step for job in task.jobs for step in self.steps_of_job(task, *job)]

    def steps_of_job(self, task, path, after):
        first, second = sftp_string(u32(0)), sftp_string(u32(1))
        pieces = [(u64(at), task.contents[at:at + PIECE]) for at in range(0, len(task.contents), PIECE)]
        reads = (self.ask(READ, first, at, u32(PIECE), answer=DATA, prefix=u32(len(piece)))
                 for at, piece in pieces)
        if task.verb == "open":
            yield self.open(path, TO_READ)
            yield self.describe(FSTAT, first)
            yield from pipelined(list(reads))
            yield self.ask(CLOSE, first)
        elif task.verb == "open in two trips":
            yield self.open(path, TO_READ)
            yield joined([*reads, self.ask(CLOSE, first)])
        elif task.verb == "list":
            yield self.ask(OPENDIR, sftp_string(path), answer=HANDLE, prefix=first)
            for _ in range(0, task.entries + len([".", ".."]), NAMES_PER_ANSWER):
                yield self.ask(READDIR, first, answer=NAME, prefix=b"")
            yield self.ask(READDIR, first, prefix=u32(END_OF_FILE))
            yield self.ask(CLOSE, first)
        elif task.verb in ("create", "update"):
            if task.verb == "update":
                yield self.describe(STAT, sftp_string(path)) # UpdateFile also checks for the file first
            yield self.open(path, TO_CREATE if task.verb == "create" else TO_REWRITE)
            yield from pipelined([self.ask(WRITE, first, at, sftp_string(piece)) for at, piece in pieces])
            yield self.ask(CLOSE, first)
        elif task.verb == "rename":
            yield self.ask(RENAME, sftp_string(path), sftp_string(after))
        elif task.verb == "move":
            yield self.open(path, TO_READ)
            yield self.describe(FSTAT, first)
            yield self.open(after, TO_CREATE, u32(PERMISSIONS), u32(0o644), handle=1)
            yield self.ask(EXTENDED, sftp_string("copy-data"), first, u64(0), u64(0), second, u64(0))
            yield self.ask(FSETSTAT, second, u32(TIMES), u32(1_700_000_000), u32(1_700_000_000))
            yield self.ask(CLOSE, second)
            yield self.ask(CLOSE, first)
            yield self.ask(REMOVE, sftp_string(path))
        elif task.verb == "delete":
            yield self.ask(REMOVE, sftp_string(path))
            yield self.ask(STAT, sftp_string(path), prefix=u32(NO_SUCH_FILE))
        if task.verb in ("create", "update", "rename", "move"):
            yield self.describe(STAT, sftp_string(after))

    def find_end(self):
        if self.end < self.start + 4:
            return None
        end = self.start + 4 + LENGTH.unpack_from(self.buffer, self.start)[0]
        return end if end <= self.end else None

    @staticmethod
    def without_header(answer):
        return answer[LENGTH.size:]

    @staticmethod
    def result(task, answers):
        if task.verb.startswith("open"):
            contents = b"".join(answer[9:] for answer in answers if answer[0] == DATA)
            return contents[-len(task.contents):]
        if task.verb == "list":
            names = sum(LENGTH.unpack_from(answer, 5)[0] for answer in answers if answer[0] == NAME)
            return names - len([".", ".."])
        return 0 if task.verb == "delete" else int.from_bytes(answers[-1][9:17], "big")


def median_times(pairs, directory, rounds):
    """Measures pairs of a service and an operation in turn. Returns the median seconds per file of each."""
    runs = []
    for service, operation in pairs:
        task = Task(operation, directory)
        runs.append((service, task, service.steps(task), []))
    for round_number in range(rounds + 1): # the first round is not counted
        for service, task, steps, times in runs:
            task.prepare_disk()
            try:
                seconds = service.time(steps)
                service.check(task, steps)
                task.check_disk()
            except (RuntimeError, OSError) as error:
                raise SystemExit(f"comparison: {service.name}: {error}") from error
            if round_number > 0:
                times.append(seconds / len(task.jobs))
    return [statistics.median(times) for *_, times in runs]


def time_text(seconds):
    return f"{seconds * 1e6:.1f} us" if seconds < 1e-3 else f"{seconds * 1e3:.2f} ms"


def ratio_text(ratio, target):
    return f"{ratio:.2f} (>= {target:.1f})" + (" below" if ratio < target else "")


def compare(services, options):
    heads = [f"{service.name} / ours" for service in services[1:]]
    print(f"{'':36}{'ours':>10}   {heads[0]:23}{''.join(heads[1:])}", flush=True)
    for operation in OPERATIONS:
        if options.part not in operation.name:
            continue
        ours, *others = median_times([(service, operation) for service in services],
                                     options.directory, options.rounds)
        ratios = [ratio_text(time / ours, target)
                  for time, target in zip(others, (operation.sftp_target, operation.node_target))]
        print(f"{operation.name:36}{time_text(ours):>10}   {ratios[0]:23}{''.join(ratios[1:])}",
              flush=True)


def measure_growth(ours, options):
    for name, little, much in GROWTHS:
        if options.part not in name:
            continue
        times = median_times([(ours, little), (ours, much)], options.directory, options.rounds)
        ratio = times[1] / much.size / (times[0] / little.size)
        print(f"growth: {name}: {ratio:.2f} (<= {GROWTH_TARGET})" +
              (" above" if ratio > GROWTH_TARGET else ""), flush=True)


def main():
    parser = argparse.ArgumentParser(prog="bench/compare", allow_abbrev=False)
    parser.add_argument("host", help=argparse.SUPPRESS)
    parser.add_argument("node_service", help=argparse.SUPPRESS) # empty without Node.js
    parser.add_argument("directory", help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=21)
    parser.add_argument("--any-core", action="store_true",
                        help="let the system choose the cores of client and services")
    parser.add_argument("part", nargs="?", default="", help="only operations with this in their name")
    options = parser.parse_intermixed_args()
    gc.disable()

    # The client gets its own core. Otherwise the times vary: the kernel sometimes runs it on a service's
    # core, where a round trip is much faster.
    client, *others = sorted(os.sched_getaffinity(0))
    is_split = others and not options.any_core
    if is_split:
        os.sched_setaffinity(0, others) # the services inherit this
    services = [JsonService("connector-host", options.host), SftpService()]
    if options.node_service:
        services.append(JsonService("Node.js", "node", options.node_service, has_headers=True))
    if is_split:
        os.sched_setaffinity(0, [client])
    compare(services, options)
    measure_growth(services[0], options)
    for service in services:
        service.stop()


main()
