# SPDX-License-Identifier: Apache-2.0
# Shared by the tests that run programs. Such a test works in an empty folder, deleted at its end.
import atexit
import os
import pathlib
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

# Paths stay valid in the new folder.
arguments = [os.path.abspath(word) if os.path.exists(word) else word for word in sys.argv[1:]]
work = pathlib.Path(tempfile.mkdtemp()).resolve()
atexit.register(shutil.rmtree, work, ignore_errors=True)
os.chdir(work)
failed = False


def check(fine, message):
    """Reports a failure unless `fine` holds."""
    global failed
    if not fine:
        failed = True
        print("FAIL", message, flush=True)


def same(what, expected, actual):
    check(expected == actual, f"{what}: expected {expected!r}, saw {actual!r}")


def finish(message):
    """Ends the test; prints the message on success."""
    if not failed:
        print(message)
    sys.exit(failed)


def words(command):
    """Splits strings like a shell; other arguments, such as paths, stay whole."""
    return [word for part in command
            for word in (shlex.split(part) if isinstance(part, str) else [str(part)])]


class Program:
    """A command, with the emulator, if any, before the program."""

    def __init__(self, *command):
        self.command = [str(word) for word in command]
        self.name = pathlib.Path(command[-1]).name

    def run(self, status, *options, stdin=b"", **environment):
        """Runs the program, expects the exit status, and returns its output."""
        # `stdin` is content or, as a path, a file; other named arguments are environment variables.
        feed = {"stdin": stdin.open()} if isinstance(stdin, pathlib.Path) else {"input": stdin}
        done = subprocess.run([*self.command, *words(options)], **feed, capture_output=True,
                              env={**os.environ, **environment})
        done.out, done.err = (b.decode(errors="surrogateescape") for b in (done.stdout, done.stderr))
        check(done.returncode == status, f"exit status {done.returncode}, not {status}: "
              f"{options} {done.err[:1000]}{done.out[:1000]}")
        return done

    def bad(self, status, *options, says="", **more):
        """Expects the status and a one-line error that begins with the program's name."""
        done = self.run(status, *options, **more)
        check(done.err.startswith(f"{self.name}: ") and done.err.count("\n") == 1 and says in done.err,
              f"no one-line error with {says!r}: {options} {done.err}")
        return done


def read(path):
    return pathlib.Path(path).read_bytes()


def write(path, content):
    pathlib.Path(path).write_bytes(content if isinstance(content, bytes) else content.encode())


def write_png(path, width, height, colour):
    """Writes an RGB picture. The colour of x and y is one number (gray) or three."""
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    def pixel(x, y):
        value = colour(x, y)
        return bytes(int(v) for v in (value if isinstance(value, tuple) else (value,) * 3))

    rows = b"".join(b"\0" + b"".join(pixel(x, y) for x in range(width)) for y in range(height))
    write(path, b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
          + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def size_of(path):
    """Returns the size of a PNG, such as "640x480"."""
    head = read(path)[:24]
    return "%dx%d" % struct.unpack(">II", head[16:]) if head.startswith(b"\x89PNG") else "no PNG"
