// The lines of hallkorb as types, and the only place that knows how they are written.
//
// The fields are those of docs/protocol.schema.json. A line that this version does not know becomes
// .unknown, and fields that it does not know are left out: later versions add both.

import Foundation

struct Started: Decodable {
  let mic: Bool
  let system: Bool
  let video: Bool
  let echo: Bool
  let null_unix_ms: Int
}

struct Chunk: Decodable {
  let chunk: Int
  let channel: String
  let path: String
  let t0: Double
  let t1: Double
  let sprache_ms: Int?
}

struct Degraded: Decodable {
  let channel: String
  let message: String
}

struct Failed: Decodable {
  let message: String
}

struct VideoStart: Decodable {
  let quelle: String
  let art: String
  let rang: Int
  let grund: String
  let t_s: Double
}

typealias VideoWechsel = VideoStart

struct VideoNone: Decodable {
  let message: String
}

struct VideoPause: Decodable {
  let message: String
  let t_s: Double
}

struct Video: Decodable {
  let path: String
  let frames: Int
  let quelle: String
}

struct Echo: Decodable {
  let verzoegerung_ms: Double
  let versatz_bloecke: Int
  let versatz_wechsel: Int
  let leck: Double
  let tor_anteil: Double
  let nah_anteil: Double
  let vg_kopien: Int
  let hg_reset: Int
  let resets: Int
  let ohne_referenz: Int
  let ausfaelle: Int
  let bloecke: Int
  let chunks_ohne_sprache: Int
}

struct Timeline: Decodable {
  let luecken: Int
  let luecken_ms: Int
  let ueberlappungen: Int
  let verworfen_ms: Int
}

struct Zeitachse: Decodable {
  let them: Timeline
  let me: Timeline
}

enum Line {
  case started(Started)
  case chunk(Chunk)
  case degraded(Degraded)
  case error(Failed)
  case videoStart(VideoStart)
  case videoWechsel(VideoWechsel)
  case videoNone(VideoNone)
  case videoPause(VideoPause)
  case video(Video)
  case echo(Echo)
  case zeitachse(Zeitachse)
  case done
  case unknown(String)
}

private let latest = 1e8  // seconds, three years

private struct NoSpanOfTime: Error, CustomStringConvertible {
  let description = "t0 and t1 are no span of time"
}

private struct Head: Decodable {
  enum Keys: CodingKey {
    case event, chunk
  }

  let event: String?
  let isChunk: Bool

  init(from decoder: Decoder) throws {
    let fields = try decoder.container(keyedBy: Keys.self)
    event = fields.contains(.event) ? try fields.decode(String.self, forKey: .event) : nil
    isChunk = fields.contains(.chunk)
  }
}

/// One line. Throws if it is not what the protocol promises.
func parse(_ text: String) throws -> Line {
  // The recorder leaves control characters in texts as they are, which JSON does not allow.
  let data = Data(text.utf8.map { $0 < 0x20 ? 0x20 : $0 })
  let decoder = JSONDecoder()
  let head = try decoder.decode(Head.self, from: data)
  switch head.event {
  case nil where head.isChunk:
    let chunk = try decoder.decode(Chunk.self, from: data)
    if !(0 <= chunk.t0 && chunk.t0 <= chunk.t1 && chunk.t1 <= latest) { throw NoSpanOfTime() }
    return .chunk(chunk)
  case "started": return .started(try decoder.decode(Started.self, from: data))
  case "degraded": return .degraded(try decoder.decode(Degraded.self, from: data))
  case "error": return .error(try decoder.decode(Failed.self, from: data))
  case "video_start": return .videoStart(try decoder.decode(VideoStart.self, from: data))
  case "video_wechsel": return .videoWechsel(try decoder.decode(VideoWechsel.self, from: data))
  case "video_none": return .videoNone(try decoder.decode(VideoNone.self, from: data))
  case "video_pause": return .videoPause(try decoder.decode(VideoPause.self, from: data))
  case "video": return .video(try decoder.decode(Video.self, from: data))
  case "echo": return .echo(try decoder.decode(Echo.self, from: data))
  case "zeitachse": return .zeitachse(try decoder.decode(Zeitachse.self, from: data))
  case "done": return .done
  default: return .unknown(text)
  }
}
