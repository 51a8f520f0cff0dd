#!/usr/bin/env python3
"""A small host for hallkorb: records, has every chunk transcribed, writes one transcript.

    host.py --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
            [--limit N] [-- options of the recorder...]

See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.
"""

import argparse
import os
import signal
import subprocess
import sys
import threading

import lines
from transcript import Kept, Transcriber, Transcript, put, say

RECORDED, LOST, REFUSED = 0, 1, 2
# Asked to stop before its first instruction, or options that it cannot work with: no crash.
BEFORE_THE_BEGIN = (signal.SIGINT, signal.SIGTERM, signal.SIGABRT)
LONGEST = 1e6  # seconds that an option may name; timers take no more than some weeks


class Host:
    def __init__(self, options):
        self._options = options
        self._transcript = Transcript(options.folder)
        self._transcriber = Transcriber(options.transcriber, options.limit, self._transcript)
        self._recorder = None
        self._stopping = threading.Event()
        self._killed = False
        self._began = False  # any recording of this run
        self._all_kept = True

    def run(self):
        os.makedirs(self._options.folder, mode=0o700, exist_ok=True)
        self._watch_signals()
        self._transcriber.start()
        try:
            for left in range(self._options.restarts, -1, -1):
                outcome = self._record()
                if outcome != LOST or self._stopping.is_set() or left == 0:
                    break
                say("beginning again")
        finally:
            self._transcriber.finish()
            written = self._transcript.write()
        if outcome == RECORDED:
            return RECORDED if written and self._all_kept else LOST
        return LOST if self._began else outcome

    def _watch_signals(self):
        """A thread answers them: a handler would run in the middle of anything."""
        watched, noted = os.pipe()
        os.set_blocking(noted, False)
        signal.set_wakeup_fd(noted)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: None)

        def answer():
            while os.read(watched, 1):
                self._signalled()

        threading.Thread(target=answer, daemon=True).start()

    def _signalled(self):
        """The first one stops the recording; whoever sends another does not want to wait for answers."""
        if self._stopping.is_set():
            self._transcriber.give_up()
        else:
            self.stop()

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

    def _record(self):
        """One run of the recorder; returns how it ended."""
        try:
            folder = self._new_folder()
        except OSError as error:
            say(f"no folder to record into: {error}")
            return REFUSED
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
        started, done = self._read_lines(self._recorder.stdout, folder)
        self._began = self._began or started
        status = self._recorder.wait()
        diagnostics.join()
        return self._outcome(status, started, done)

    @staticmethod
    def _pass_on(stream):
        for line in stream:
            put(line)

    def _read_lines(self, stream, folder):
        """Reads standard output to its end, and keeps it; returns whether "started" and "done" came."""
        offset, started, done = 0.0, False, False
        kept = Kept(os.path.join(folder, "ereignisse.jsonl"))
        for raw in stream:
            if not raw.endswith(b"\n"):  # the recorder was killed in the middle of a line
                break
            kept.add(raw)
            text = raw.decode("utf-8", "replace").rstrip("\n")
            try:
                line = lines.parse(text)
            except ValueError as error:
                say(f"not understood: {text} ({error})")
                continue
            if isinstance(line, lines.Started):
                started = True
                offset = self._transcript.offset(line.null_unix_ms)
                self._count_seconds()
            elif isinstance(line, lines.Chunk):
                self._transcript.announced(offset, line)
                self._transcriber.take(offset, line)
            done = done or isinstance(line, lines.Done)
            self._show(line, folder)
        self._all_kept = kept.close() and self._all_kept
        return started, done

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

    def _outcome(self, status, started, done):
        if status == 0 and done:
            say("recorded")
            return RECORDED
        if status == 2:
            say("the recorder refused: status 2")
            return REFUSED
        if not started and -status in BEFORE_THE_BEGIN:
            say(f"the recorder ended before it began: signal {-status}")
            return REFUSED
        if self._killed:
            say("killed at the stop")
        elif status < 0:
            say(f"the recorder crashed: signal {-status}")
        else:
            say(f"the recorder ended early: status {status}")
        return LOST


def seconds(text):
    value = float(text)
    if not 0.0 <= value <= LONGEST:
        raise ValueError
    return value


def times(text):
    value = int(text)
    if value < 0:
        raise ValueError
    return value


class Parser(argparse.ArgumentParser):
    def error(self, message):  # with a status of its own: 2 means that nothing could be recorded
        say(message)
        sys.exit(64)


def main():
    parser = Parser(prog="host.py", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--folder", required=True)
    parser.add_argument("--transcriber", required=True)
    parser.add_argument("--seconds", type=seconds, default=0.0, help="of recording, then stop")
    parser.add_argument("--patience", type=seconds, default=150.0, help="how long a stop may take")
    parser.add_argument("--restarts", type=times, default=3, help="after crashes, at most")
    parser.add_argument("--limit", type=seconds, default=120.0, help="for the transcriber's answer")
    parser.add_argument("recorder_options", nargs="*")
    try:
        return Host(parser.parse_args()).run()
    except OSError as error:  # the folder cannot be made
        say(error)
        return 64


if __name__ == "__main__":
    sys.exit(main())
