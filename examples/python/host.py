#!/usr/bin/env python3
"""A small host for hallkorb: records, has every chunk transcribed, writes one transcript.

    host.py --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
            [-- options of the recorder...]

See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.
"""

import argparse
import html
import os
import queue
import signal
import subprocess
import sys
import threading

import lines

RECORDED, LOST, REFUSED = 0, 1, 2


def say(text):
    print(f"[host] {text}", file=sys.stderr, flush=True)


class Transcript:
    """What was said, by wall clock: a recording that was begun again has another time zero."""

    def __init__(self):
        self._zero = None  # of the first recording, milliseconds since 1970
        self._said = []  # (begin, end, channel, text), seconds

    def offset(self, null_unix_ms):
        """Seconds from the first recording's time zero to this one."""
        if self._zero is None:
            self._zero = null_unix_ms
        return (null_unix_ms - self._zero) / 1000.0

    def add(self, offset, chunk, text):
        self._said.append((offset + chunk.t0, offset + chunk.t1, chunk.channel, text))
        print(f"{clock(offset + chunk.t0)} {chunk.channel}: {text}", flush=True)

    def write(self, folder):
        said = sorted(self._said)
        with open(os.path.join(folder, "transcript.txt"), "w", encoding="utf-8") as file:
            file.writelines(f"{clock(begin)} {channel}: {text}\n" for begin, _, channel, text in said)
        with open(os.path.join(folder, "transcript.vtt"), "w", encoding="utf-8") as file:
            file.write("WEBVTT\n")
            file.writelines(f"\n{clock(begin)} --> {clock(end)}\n<v {channel}>{html.escape(text, False)}\n"
                            for begin, end, channel, text in said)


def clock(seconds):
    ms = round(seconds * 1000)
    return f"{ms // 3600000:02}:{ms // 60000 % 60:02}:{ms // 1000 % 60:02}.{ms % 1000:03}"


class Transcriber(threading.Thread):
    """Asks the command for each chunk, one after the other, beside the recording."""

    def __init__(self, command, transcript):
        super().__init__()
        # Ctrl-C in a terminal goes to every program in it, and must not cost the last answers.
        self._call = ["/bin/sh", "-c", f"trap '' INT; {command} \"$1\"", "sh"]
        self._transcript = transcript
        self._jobs = queue.Queue()

    def take(self, offset, chunk):
        self._jobs.put((offset, chunk))

    def finish(self):
        """Returns when every chunk has its answer."""
        self._jobs.put(None)
        self.join()

    def run(self):
        while (job := self._jobs.get()) is not None:
            offset, chunk = job
            answer = subprocess.run([*self._call, chunk.path], stdin=subprocess.DEVNULL,
                                    stdout=subprocess.PIPE)
            if answer.returncode:
                say(f"transcriber: status {answer.returncode} for {chunk.path}")
            elif text := " ".join(answer.stdout.decode("utf-8", "replace").split()):
                self._transcript.add(offset, chunk, text)


class Host:
    def __init__(self, options):
        self._options = options
        self._transcript = Transcript()
        self._transcriber = Transcriber(options.transcriber, self._transcript)
        self._recorder = None
        self._stopping = threading.Event()
        self._killed = False

    def run(self):
        os.makedirs(self._options.folder, mode=0o700, exist_ok=True)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: self.stop())
        self._transcriber.start()
        try:
            for left in range(self._options.restarts, -1, -1):
                outcome = self._record(self._new_folder())
                if outcome != LOST or self._stopping.is_set() or left == 0:
                    break
                say("beginning again")
        finally:
            self._transcriber.finish()
            self._transcript.write(self._options.folder)
        return outcome

    def stop(self):
        """The orderly stop, with a limit. A second one changes nothing."""
        if self._stopping.is_set():
            return
        self._stopping.set()
        say("stopping")
        self._interrupt()

    def _interrupt(self):
        if self._recorder:
            self._recorder.send_signal(signal.SIGINT)
            self._after(self._options.patience, self._kill)

    def _kill(self):
        if self._recorder.poll() is None:
            say("it does not stop: killed")
            self._killed = True
            self._recorder.kill()

    def _count_seconds(self):
        """Once, from the first "started" on."""
        if self._options.seconds:
            self._after(self._options.seconds, self.stop)
            self._options.seconds = 0.0

    @staticmethod
    def _after(seconds, call):
        timer = threading.Timer(seconds, call)
        timer.daemon = True
        timer.start()

    def _new_folder(self):
        """A folder for each recording, so that none writes over another's files."""
        number = 1
        while True:
            folder = os.path.join(self._options.folder, str(number))
            try:
                os.mkdir(folder, mode=0o700)
                return folder
            except FileExistsError:
                number += 1

    def _record(self, folder):
        """One run of the recorder; returns how it ended."""
        command = [self._options.recorder, "--out", folder, *self._options.recorder_options]
        try:
            self._recorder = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        except OSError as error:
            say(f"cannot start {self._options.recorder}: {error.strerror}")
            return REFUSED
        if self._stopping.is_set():  # between two recordings
            self._interrupt()
        diagnostics = threading.Thread(target=self._pass_on, args=(self._recorder.stderr,))
        diagnostics.start()
        done = self._read_lines(self._recorder.stdout, folder)
        status = self._recorder.wait()
        diagnostics.join()
        return self._outcome(status, done)

    @staticmethod
    def _pass_on(stream):
        for line in stream:
            sys.stderr.buffer.write(line)
            sys.stderr.buffer.flush()

    def _read_lines(self, stream, folder):
        """Reads standard output to its end, and keeps it; returns whether "done" came."""
        offset, done = 0.0, False
        with open(os.path.join(folder, "ereignisse.jsonl"), "wb", buffering=0) as kept:
            for raw in stream:
                if not raw.endswith(b"\n"):  # the recorder was killed in the middle of a line
                    break
                kept.write(raw)
                text = raw.decode("utf-8", "replace").rstrip("\n")
                try:
                    line = lines.parse(text)
                except ValueError as error:
                    say(f"not understood: {text} ({error})")
                    continue
                if isinstance(line, lines.Started):
                    offset = self._transcript.offset(line.null_unix_ms)
                    self._count_seconds()
                elif isinstance(line, lines.Chunk):
                    self._transcriber.take(offset, line)
                done = done or isinstance(line, lines.Done)
                self._show(line, folder)
        return done

    @staticmethod
    def _show(line, folder):
        match line:
            case lines.Started():
                parts = [("me", line.mic), ("them", line.system), ("echo path", line.echo)]
                say(f"recording into {folder}: {', '.join(name for name, there in parts if there)}")
            case lines.Degraded():
                say(f"without {line.channel}: {line.message}")
            case lines.Error():
                say(f"nothing is recorded: {line.message}")
            case lines.VideoStart():
                say(f"picture: {line.quelle}")
            case lines.VideoNone() | lines.VideoPause():
                say(f"no picture: {line.message}")
            case lines.Video():
                say(f"video: {line.path}, {line.frames} pictures")
            case lines.Zeitachse():
                say(f"gaps: me {line.me.luecken_ms} ms, them {line.them.luecken_ms} ms")
            case lines.Unknown():
                say(f"skipped: {line.text}")

    def _outcome(self, status, done):
        if status == 0 and done:
            say("recorded")
            return RECORDED
        if status == 2:
            say("the recorder refused: status 2")
            return REFUSED
        if self._killed:
            say("killed at the stop")
        elif status < 0:
            say(f"the recorder crashed: signal {-status}")
        else:
            say(f"the recorder ended early: status {status}")
        return LOST


class Parser(argparse.ArgumentParser):
    def error(self, message):  # with a status of its own: 2 means that nothing could be recorded
        say(message)
        sys.exit(64)


def main():
    parser = Parser(prog="host.py", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--folder", required=True)
    parser.add_argument("--transcriber", required=True)
    parser.add_argument("--seconds", type=float, default=0.0, help="of recording, then stop")
    parser.add_argument("--patience", type=float, default=150.0, help="how long a stop may take")
    parser.add_argument("--restarts", type=int, default=3, help="after crashes, at most")
    parser.add_argument("recorder_options", nargs="*")
    return Host(parser.parse_args()).run()


if __name__ == "__main__":
    sys.exit(main())
