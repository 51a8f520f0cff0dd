// The transcript, and the queue that asks the user's command for it.

import Dispatch
import Foundation

func say(_ text: String) {
  FileHandle.standardError.write(Data("[host] \(text)\n".utf8))
}

func clock(_ seconds: Double) -> String {
  let ms = Int((seconds * 1000).rounded())
  return String(format: "%02d:%02d:%02d.%03d", ms / 3_600_000, ms / 60_000 % 60, ms / 1000 % 60, ms % 1000)
}

/// What was said, by wall clock: a recording that was begun again has another time zero. `offset` is called
/// by the main thread; the rest belongs to the transcriber's queue until that is empty.
final class Transcript {
  private var zero: Int?  // of the first recording, milliseconds since 1970
  private var said: [(begin: Double, end: Double, channel: String, text: String)] = []

  /// Seconds from the first recording's time zero to this one.
  func offset(_ nullUnixMs: Int) -> Double {
    zero = zero ?? nullUnixMs
    return Double(nullUnixMs - zero!) / 1000
  }

  func add(_ offset: Double, _ chunk: Chunk, _ text: String) {
    said.append((offset + chunk.t0, offset + chunk.t1, chunk.channel, text))
    FileHandle.standardOutput.write(Data("\(clock(offset + chunk.t0)) \(chunk.channel): \(text)\n".utf8))
  }

  func write(_ folder: URL) throws {
    said.sort { ($0.begin, $0.end) < ($1.begin, $1.end) }
    let text = said.map { "\(clock($0.begin)) \($0.channel): \($0.text)\n" }.joined()
    let cues = said.map {
      "\n\(clock($0.begin)) --> \(clock($0.end))\n<v \($0.channel)>\(escaped($0.text))\n"
    }.joined()
    try text.write(to: folder.appendingPathComponent("transcript.txt"), atomically: true, encoding: .utf8)
    try ("WEBVTT\n" + cues).write(
      to: folder.appendingPathComponent("transcript.vtt"), atomically: true, encoding: .utf8)
  }

  private func escaped(_ text: String) -> String {
    text.replacingOccurrences(of: "&", with: "&amp;").replacingOccurrences(of: "<", with: "&lt;")
      .replacingOccurrences(of: ">", with: "&gt;")
  }
}

/// Asks the command for each chunk, one after the other, beside the recording.
final class Transcriber {
  private let command: String
  private let transcript: Transcript
  private let jobs = DispatchQueue(label: "transcriber")

  init(_ command: String, _ transcript: Transcript) {
    self.command = command
    self.transcript = transcript
  }

  func take(_ offset: Double, _ chunk: Chunk) {
    jobs.async { self.ask(offset, chunk) }
  }

  /// Returns when every chunk has its answer.
  func finish() {
    jobs.sync {}
  }

  private func ask(_ offset: Double, _ chunk: Chunk) {
    let child = Process()
    let answer = Pipe()
    child.executableURL = URL(fileURLWithPath: "/bin/sh")
    // Ctrl-C in a terminal goes to every program in it, and must not cost the last answers.
    child.arguments = ["-c", "trap '' INT; \(command) \"$1\"", "sh", chunk.path]
    child.standardInput = FileHandle.nullDevice
    child.standardOutput = answer
    do { try child.run() } catch { return say("transcriber: \(error.localizedDescription)") }
    let data = answer.fileHandleForReading.readDataToEndOfFile()
    child.waitUntilExit()
    let text = String(decoding: data, as: UTF8.self).split(whereSeparator: \.isWhitespace)
      .joined(separator: " ")
    if child.terminationStatus != 0 {
      say("transcriber: status \(child.terminationStatus) for \(chunk.path)")
    } else if !text.isEmpty {
      transcript.add(offset, chunk, text)
    }
  }
}
