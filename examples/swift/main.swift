// A small host for hallkorb: records, has every chunk transcribed, writes one transcript.
//
//     host --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
//          [--limit N] [-- options of the recorder...]
//
// See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.

import Dispatch
import Foundation

enum Outcome: Int32 {
  case recorded = 0
  case lost = 1
  case refused = 2
}

/// Calls `take` with each line of a stream until its end. What comes last without a line feed is left out:
/// its writer was killed.
func readLines(_ stream: FileHandle, _ take: (String) -> Void) {
  var rest = Data()
  while true {
    let part = stream.availableData
    if part.isEmpty { return }
    rest.append(part)
    while let end = rest.firstIndex(of: 10) {
      take(String(decoding: rest[rest.startIndex..<end], as: UTF8.self))
      rest.removeSubrange(rest.startIndex...end)
    }
  }
}

struct Options {
  var recorder = "", folder = "", transcriber = ""
  var seconds = 0.0  // of recording, then stop; 0: at Ctrl-C
  var patience = 150.0  // how long a stop may take
  var restarts = 3.0  // after crashes, at most
  var limit = 120.0  // how long the transcriber's answer may take
  var recorderOptions: [String] = []

  init?(_ words: [String]) {
    let end = words.firstIndex(of: "--") ?? words.count
    for place in stride(from: 0, to: end, by: 2) {
      guard place + 1 < end else { return nil }
      let value = words[place + 1]
      let number = Double(value) ?? -1
      // Timers take no more than some weeks.
      let counts = number >= 0 && number <= 1_000_000
      switch words[place] {
      case "--recorder": recorder = value
      case "--folder": folder = value
      case "--transcriber": transcriber = value
      case "--seconds" where counts: seconds = number
      case "--patience" where counts: patience = number
      case "--restarts" where counts && number.rounded() == number: restarts = number
      case "--limit" where counts: limit = number
      default: return nil
      }
    }
    recorderOptions = Array(words.dropFirst(end + 1))
    if recorder.isEmpty || folder.isEmpty || transcriber.isEmpty { return nil }
  }
}

final class Host: @unchecked Sendable {
  /// Asked to stop before its first instruction, or options that it cannot work with: no crash.
  private static let beforeTheBegin = [SIGINT, SIGTERM, SIGABRT]

  private var options: Options
  private let transcript: Transcript
  private let transcriber: Transcriber
  private let lock = NSLock()  // for what follows: signals and timers come on threads of their own
  private var recorder: Process?
  private var stopping = false
  private var killed = false
  private var began = false  // any recording of this run
  private var allKept = true

  init(_ options: Options) {
    self.options = options
    transcript = Transcript(URL(fileURLWithPath: options.folder))
    transcriber = Transcriber(options.transcriber, options.limit, transcript)
  }

  func run() throws -> Outcome {
    try FileManager.default.createDirectory(
      atPath: options.folder, withIntermediateDirectories: true, attributes: [.posixPermissions: 0o700])
    var outcome = Outcome.refused
    for left in stride(from: options.restarts, through: 0, by: -1) {
      outcome = record()
      if outcome != .lost || lock.withLock({ stopping }) || left == 0 { break }
      say("beginning again")
    }
    transcriber.finish()
    let written = transcript.write()
    if outcome == .recorded { return written && allKept ? .recorded : .lost }
    return began ? .lost : outcome
  }

  /// The first signal stops the recording; whoever sends another does not want to wait for answers.
  func signalled() {
    if lock.withLock({ stopping }) {
      transcriber.giveUp()
    } else {
      stop()
    }
  }

  /// The orderly stop, with a limit. A second one changes nothing. Any thread.
  func stop() {
    lock.withLock {
      if stopping { return }
      stopping = true
      say("stopping")
      interrupt()
    }
  }

  private func interrupt() {
    guard let recorder, recorder.isRunning else { return }
    kill(recorder.processIdentifier, SIGINT)
    after(options.patience) {
      self.lock.withLock {
        guard recorder.isRunning else { return }
        say("it does not stop: killed")
        self.killed = true
        kill(recorder.processIdentifier, SIGKILL)
      }
    }
  }

  /// Once, from the first "started" on.
  private func countSeconds() {
    if options.seconds > 0 { after(options.seconds) { self.stop() } }
    options.seconds = 0
  }

  private func after(_ seconds: Double, _ call: @escaping @Sendable () -> Void) {
    DispatchQueue.global().asyncAfter(deadline: .now() + seconds, execute: call)
  }

  /// A folder for each recording, so that none writes over another's files.
  private func newFolder() throws -> String {
    var number = 1
    while mkdir("\(options.folder)/\(number)", 0o700) != 0 {
      guard errno == EEXIST else { throw POSIXError(POSIXErrorCode(rawValue: errno) ?? .EIO) }
      number += 1
    }
    return "\(options.folder)/\(number)"
  }

  /// One run of the recorder; returns how it ended.
  private func record() -> Outcome {
    let folder: String
    do { folder = try newFolder() } catch {
      say("no folder to record into: \(error.localizedDescription)")
      return .refused
    }
    let child = Process()
    let (out, diagnostics) = (Pipe(), Pipe())
    child.executableURL = URL(fileURLWithPath: options.recorder)
    child.arguments = ["--out", folder] + options.recorderOptions
    child.standardInput = FileHandle.nullDevice
    child.standardOutput = out
    child.standardError = diagnostics
    do { try child.run() } catch {
      say("cannot start \(options.recorder): \(error.localizedDescription)")
      return .refused
    }
    lock.withLock {
      recorder = child
      if stopping { interrupt() }  // between two recordings
    }
    let passedOn = DispatchGroup()
    DispatchQueue.global().async(group: passedOn) {
      readLines(diagnostics.fileHandleForReading) { put("\($0)\n", FileHandle.standardError) }
    }
    let (started, done) = keepLines(out.fileHandleForReading, folder)
    began = began || started
    child.waitUntilExit()
    passedOn.wait()
    return outcome(child, started, done)
  }

  /// Reads standard output to its end, and keeps it; returns whether "started" and "done" came.
  private func keepLines(_ stream: FileHandle, _ folder: String) -> (started: Bool, done: Bool) {
    let kept = Kept("\(folder)/ereignisse.jsonl")
    var (offset, begun, done) = (0.0, false, false)
    readLines(stream) { text in
      kept.add("\(text)\n")
      do {
        let line = try parse(text)
        switch line {
        case .started(let started):
          begun = true
          offset = transcript.offset(started.null_unix_ms)
          countSeconds()
        case .chunk(let chunk):
          transcript.announced(offset, chunk)
          transcriber.take(offset, chunk)
        case .done: done = true
        default: break
        }
        show(line, folder)
      } catch {
        say("not understood: \(text) (\(error))")
      }
    }
    allKept = kept.complete() && allKept
    return (begun, done)
  }

  private func show(_ line: Line, _ folder: String) {
    switch line {
    case .started(let line):
      let parts = [("me", line.mic), ("them", line.system), ("echo path", line.echo)]
      say("recording into \(folder): " + parts.filter(\.1).map(\.0).joined(separator: ", "))
    case .degraded(let line): say("without \(line.channel): \(line.message)")
    case .error(let line): say("nothing is recorded: \(line.message)")
    case .videoStart(let line), .videoWechsel(let line): say("picture: \(line.quelle)")
    case .videoNone(let line): say("no picture: \(line.message)")
    case .videoPause(let line): say("no picture: \(line.message)")
    case .video(let line): say("video: \(line.path), \(line.frames) pictures")
    case .zeitachse(let line): say("gaps: me \(line.me.luecken_ms) ms, them \(line.them.luecken_ms) ms")
    case .unknown(let text): say("skipped: \(text)")
    case .chunk, .echo, .done: break
    }
  }

  private func outcome(_ child: Process, _ started: Bool, _ done: Bool) -> Outcome {
    let status = child.terminationStatus
    let crashed = child.terminationReason == .uncaughtSignal
    if !crashed && status == 0 && done {
      say("recorded")
      return .recorded
    }
    if !crashed && status == 2 {
      say("the recorder refused: status 2")
      return .refused
    }
    if crashed && !started && Host.beforeTheBegin.contains(status) {
      say("the recorder ended before it began: signal \(status)")
      return .refused
    }
    if lock.withLock({ killed }) {
      say("killed at the stop")
    } else {
      say(crashed ? "the recorder crashed: signal \(status)" : "the recorder ended early: status \(status)")
    }
    return .lost
  }
}

guard let options = Options(Array(CommandLine.arguments.dropFirst())) else {
  say("--recorder, --folder and --transcriber are needed; see ../README.md")
  exit(64)
}
let host = Host(options)
// A signal becomes a byte in a pipe: what is ignored or blocked here would be so in the recorder, too.
let signals = Pipe()
let signalled = signals.fileHandleForWriting.fileDescriptor
for number in [SIGINT, SIGTERM] {
  signal(number) { _ in _ = write(signalled, "", 1) }
}
// Whoever reads the transcript or the state may go. Not SIG_IGN, for the same reason.
signal(SIGPIPE) { _ in }
DispatchQueue.global().async {
  while case let came = signals.fileHandleForReading.availableData, !came.isEmpty {
    for _ in came { host.signalled() }
  }
}
do {
  exit(try host.run().rawValue)
} catch {
  say("\(error)")
  exit(64)
}
