// The transcript, and the queue that asks the user's command for it.

import Dispatch
import Foundation

func say(_ text: String) {
  put("[host] \(text)\n", FileHandle.standardError)
}

private let putting = NSLock()  // so that a long line stays one

/// Whoever reads it may be gone.
func put(_ text: String, _ stream: FileHandle) {
  putting.withLock { try? stream.write(contentsOf: Data(text.utf8)) }
}

func clock(_ ms: Int) -> String {
  String(format: "%02d:%02d:%02d.%03d", ms / 3_600_000, ms / 60_000 % 60, ms / 1000 % 60, ms % 1000)
}

/// The recorder's lines as they came. What the disk refuses waits until there is room again.
final class Kept {
  private let path: String
  private var file: Int32 = -1
  private var waiting = Data()
  private var complained = false

  init(_ path: String) {
    self.path = path
  }

  deinit {
    if file >= 0 { close(file) }
  }

  func add(_ line: String) {
    waiting.append(contentsOf: line.utf8)
    if file < 0 { file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0o666) }
    var written = file < 0 ? -1 : 0
    while written >= 0 && !waiting.isEmpty {
      written = waiting.withUnsafeBytes { write(file, $0.baseAddress!, $0.count) }
      if written > 0 { waiting = Data(waiting.dropFirst(written)) }
    }
    if written < 0 && !complained {
      say("the lines cannot be kept: \(String(cString: strerror(errno)))")
      complained = true
    }
  }

  /// Whether all of them are in the file.
  func complete() -> Bool {
    add("")
    return waiting.isEmpty
  }
}

/// What was said, by wall clock: a recording that was begun again has another time zero. The files are those
/// of the last answer whatever happens: each is replaced when the next one is complete. `offset` and `announced`
/// are called by the main thread; the rest belongs to the transcriber's queue until that is empty.
final class Transcript {
  private let folder: URL
  private var zero: Int?  // of the first recording, milliseconds since 1970
  private var end = 0.0  // of the chunks so far, seconds
  private var said: [(begin: Int, end: Int, channel: String, text: String)] = []  // milliseconds
  private var complained = false

  init(_ folder: URL) {
    self.folder = folder
  }

  /// Seconds from the first recording's time zero to this one. If the clock was set back in between, this one
  /// follows the one before.
  func offset(_ nullUnixMs: Int) -> Double {
    zero = zero ?? nullUnixMs
    return max((Double(nullUnixMs) - Double(zero!)) / 1000, end)
  }

  func announced(_ offset: Double, _ chunk: Chunk) {
    end = max(end, offset + chunk.t1)
  }

  func add(_ offset: Double, _ chunk: Chunk, _ text: String) {
    let begin = Int(((offset + chunk.t0) * 1000).rounded())
    let end = max(Int(((offset + chunk.t1) * 1000).rounded()), begin + 1)  // WebVTT wants it later
    said.append((begin, end, chunk.channel, text))
    put("\(clock(begin)) \(chunk.channel): \(text)\n", FileHandle.standardOutput)
    _ = write()
  }

  /// Returns whether both files are there.
  func write() -> Bool {
    said.sort { ($0.begin, $0.end) < ($1.begin, $1.end) }
    let text = said.map { "\(clock($0.begin)) \($0.channel): \($0.text)\n" }.joined()
    let cues = said.map {
      "\n\(clock($0.begin)) --> \(clock($0.end))\n<v \($0.channel)>\(escaped($0.text))\n"
    }.joined()
    do {
      try text.write(to: folder.appendingPathComponent("transcript.txt"), atomically: true, encoding: .utf8)
      try ("WEBVTT\n" + cues).write(
        to: folder.appendingPathComponent("transcript.vtt"), atomically: true, encoding: .utf8)
      return true
    } catch {
      if !complained { say("the transcript cannot be written: \(error.localizedDescription)") }
      complained = true
      return false
    }
  }

  private func escaped(_ text: String) -> String {
    text.replacingOccurrences(of: "&", with: "&amp;").replacingOccurrences(of: "<", with: "&lt;")
      .replacingOccurrences(of: ">", with: "&gt;")
  }
}

/// Asks the command for each chunk, one after the other, beside the recording.
final class Transcriber: @unchecked Sendable {
  private let command: String
  private let limit: Double  // seconds that an answer may take
  private let transcript: Transcript
  private let jobs = DispatchQueue(label: "transcriber")
  private let lock = NSLock()  // for what follows
  private var running: Process?
  private var givenUp = false
  private var leftOut = 0

  init(_ command: String, _ limit: Double, _ transcript: Transcript) {
    self.command = command
    self.limit = limit
    self.transcript = transcript
  }

  func take(_ offset: Double, _ chunk: Chunk) {
    jobs.async { self.ask(offset, chunk) }
  }

  /// Returns when every chunk has its answer.
  func finish() {
    jobs.sync {}
    lock.withLock {
      if leftOut > 0 { say("\(leftOut) chunks were not waited for") }
    }
  }

  /// The chunks that have no answer yet get none. Any thread.
  func giveUp() {
    lock.withLock {
      givenUp = true
      if let running { end(running) }
    }
  }

  private func ask(_ offset: Double, _ chunk: Chunk) {
    let name = chunk.path.prefix(100)
    if isLeftOut() { return }
    // A name cannot hold a zero byte, and would end there.
    if chunk.path.utf8.contains(0) { return say("transcriber: a zero byte for \(name)") }
    let child = Process()
    let answer = Pipe()
    child.executableURL = URL(fileURLWithPath: "/bin/sh")
    // Ctrl-C in a terminal goes to every program in it, and must not cost the last answers.
    child.arguments = ["-c", "trap '' INT; \(command) \"$1\"", "sh", chunk.path]
    child.standardInput = FileHandle.nullDevice
    child.standardOutput = answer
    do { try child.run() } catch {
      return say("transcriber: \(error.localizedDescription) for \(name)")
    }
    lock.withLock {
      running = child
      if givenUp { end(child) }
    }
    let data = read(answer.fileHandleForReading)
    if data == nil {
      say("transcriber: no answer within \(limit) s for \(name)")
      lock.withLock { end(child) }
    }
    child.waitUntilExit()
    lock.withLock { running = nil }
    guard let data else { return }
    let text = String(decoding: data, as: UTF8.self).split(whereSeparator: \.isWhitespace)
      .joined(separator: " ")
    if child.terminationReason == .uncaughtSignal || child.terminationStatus != 0 {
      if !isLeftOut() { say("transcriber: status \(child.terminationStatus) for \(name)") }
    } else if !text.isEmpty {
      transcript.add(offset, chunk, text)
    }
  }

  private func isLeftOut() -> Bool {
    lock.withLock {
      if givenUp { leftOut += 1 }
      return givenUp
    }
  }

  /// What comes until the end; nil if that takes longer than the limit.
  private func read(_ file: FileHandle) -> Data? {
    let until = ProcessInfo.processInfo.systemUptime + limit
    var data = Data()
    while true {
      let rest = until - ProcessInfo.processInfo.systemUptime
      if rest <= 0 { return nil }
      var output = pollfd(fd: file.fileDescriptor, events: Int16(POLLIN), revents: 0)
      if poll(&output, 1, Int32((rest * 1000).rounded(.up))) <= 0 { continue }
      let part = file.availableData
      if part.isEmpty { return data }
      data.append(part)
    }
  }

  /// With all that it has started, if Foundation has given it a group of its own.
  private func end(_ child: Process) {
    guard child.isRunning else { return }
    let pid = child.processIdentifier
    kill(getpgid(pid) == pid ? -pid : pid, SIGKILL)
  }
}
