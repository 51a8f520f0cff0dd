// swift-tools-version:5.7
import PackageDescription

let package = Package(
  name: "host",
  platforms: [.macOS(.v13)],
  targets: [.executableTarget(name: "host", path: ".", sources: ["Lines.swift", "Transcript.swift", "main.swift"])]
)
