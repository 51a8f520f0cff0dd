#!/usr/bin/env node
// A small host for hallkorb: records, has every chunk transcribed, writes one transcript.
//
//     host.mjs --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
//              [--limit N] [-- options of the recorder...]
//
// See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.

import {spawn} from 'node:child_process';
import {mkdirSync} from 'node:fs';
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {parse} from './lines.mjs';
import {Kept, say, Transcriber, Transcript} from './transcript.mjs';

const RECORDED = 0, LOST = 1, REFUSED = 2;
// Asked to stop before its first instruction, or options that it cannot work with: no crash.
const BEFORE_THE_BEGIN = ['SIGINT', 'SIGTERM', 'SIGABRT'];
const LONGEST = 1e6;  // seconds that an option may name; timers take no more than some weeks

/** The lines of a stream; what comes last without a line feed is left out: its writer was killed. */
async function* linesOf(stream) {
  let rest = '';
  for await (const text of stream.setEncoding('utf8')) {
    const parts = (rest + text).split('\n');
    rest = parts.pop();
    yield* parts;
  }
}

class Host {
  #recorder = null;
  #stopping = false;
  #killed = false;
  #began = false;  // any recording of this run
  #allKept = true;

  constructor(options, recorderOptions) {
    this.options = options;
    this.recorderOptions = recorderOptions;
    this.transcript = new Transcript(options.folder);
    this.transcriber = new Transcriber(options.transcriber, options.limit, this.transcript);
  }

  async run() {
    mkdirSync(this.options.folder, {recursive: true, mode: 0o700});
    // The first signal stops the recording; whoever sends another does not want to wait for answers.
    for (const name of ['SIGINT', 'SIGTERM'])
      process.on(name, () => this.#stopping ? this.transcriber.giveUp() : this.stop());
    let outcome = REFUSED;
    for (let left = this.options.restarts; left >= 0; --left) {
      outcome = await this.#record();
      if (outcome !== LOST || this.#stopping || left === 0) break;
      say('beginning again');
    }
    await this.transcriber.finish();
    const written = this.transcript.write();
    if (outcome === RECORDED) return written && this.#allKept ? RECORDED : LOST;
    return this.#began ? LOST : outcome;
  }

  /** The orderly stop, with a limit. A second one changes nothing. */
  stop() {
    if (this.#stopping) return;
    this.#stopping = true;
    say('stopping');
    this.#recorder?.kill('SIGINT');
    setTimeout(() => this.#kill(), this.options.patience * 1000).unref();
  }

  /** Once, from the first "started" on. */
  #countSeconds() {
    if (this.options.seconds > 0) setTimeout(() => this.stop(), this.options.seconds * 1000).unref();
    this.options.seconds = 0;
  }

  #kill() {
    if (this.#recorder?.exitCode !== null || this.#recorder.signalCode !== null) return;
    say('it does not stop: killed');
    this.#killed = true;
    this.#recorder.kill('SIGKILL');
  }

  /** A folder for each recording, so that none writes over another's files. */
  #newFolder() {
    for (let number = 1; ; ++number) {
      const folder = join(this.options.folder, String(number));
      try {
        mkdirSync(folder, {mode: 0o700});
        return folder;
      } catch (error) {
        if (error.code !== 'EEXIST') throw error;
      }
    }
  }

  /** One run of the recorder; resolves to how it ended. */
  async #record() {
    let folder;
    try {
      folder = this.#newFolder();
    } catch (error) {
      say(`no folder to record into: ${error.message}`);
      return REFUSED;
    }
    const child = spawn(this.options.recorder, ['--out', folder, ...this.recorderOptions],
                        {stdio: ['ignore', 'pipe', 'pipe']});
    this.#recorder = child;
    const ended = new Promise((resolve) => {
      child.on('error', (error) => resolve({error}));
      child.on('close', (status, signal) => resolve({status, signal}));
    });
    if (!child.stdout) return this.#outcome(await ended, {});  // too many files are open
    const [seen] = await Promise.all([this.#readLines(child.stdout, folder), this.#passOn(child.stderr)]);
    this.#began ||= seen.started;
    return this.#outcome(await ended, seen);
  }

  async #passOn(stream) {
    for await (const text of linesOf(stream)) process.stderr.write(`${text}\n`);
  }

  /** Reads standard output to its end, and keeps it; resolves to whether "started" and "done" came. */
  async #readLines(stream, folder) {
    const kept = new Kept(join(folder, 'ereignisse.jsonl'));
    const seen = {started: false, done: false};
    let offset = 0;
    for await (const text of linesOf(stream)) {
      kept.add(`${text}\n`);
      let line;
      try {
        line = parse(text);
      } catch (error) {
        say(`not understood: ${text} (${error.message})`);
        continue;
      }
      if (line.event === 'started') {
        offset = this.transcript.offset(line.null_unix_ms);
        this.#countSeconds();
      }
      if (line.event === 'chunk') {
        this.transcript.announced(offset, line);
        this.transcriber.take(offset, line);
      }
      if (Object.hasOwn(seen, line.event)) seen[line.event] = true;
      this.#show(line, folder);
    }
    this.#allKept = kept.close() && this.#allKept;
    return seen;
  }

  #show(line, folder) {
    switch (line.event) {
      case 'started': {
        const parts = {'me': line.mic, 'them': line.system, 'echo path': line.echo};
        say(`recording into ${folder}: ${Object.keys(parts).filter((name) => parts[name]).join(', ')}`);
        break;
      }
      case 'degraded': say(`without ${line.channel}: ${line.message}`); break;
      case 'error': say(`nothing is recorded: ${line.message}`); break;
      case 'video_start':
      case 'video_wechsel': say(`picture: ${line.quelle}`); break;
      case 'video_none':
      case 'video_pause': say(`no picture: ${line.message}`); break;
      case 'video': say(`video: ${line.path}, ${line.frames} pictures`); break;
      case 'zeitachse': say(`gaps: me ${line.me.luecken_ms} ms, them ${line.them.luecken_ms} ms`); break;
      case 'unknown': say(`skipped: ${line.text}`); break;
    }
  }

  #outcome({status, signal, error}, {started, done}) {
    if (error) {
      say(`cannot start ${this.options.recorder}: ${error.code}`);
      return REFUSED;
    }
    if (status === 0 && done) {
      say('recorded');
      return RECORDED;
    }
    if (status === 2) {
      say('the recorder refused: status 2');
      return REFUSED;
    }
    if (!started && BEFORE_THE_BEGIN.includes(signal)) {
      say(`the recorder ended before it began: ${signal}`);
      return REFUSED;
    }
    if (this.#killed) say('killed at the stop');
    else if (signal) say(`the recorder crashed: ${signal}`);
    else say(`the recorder ended early: status ${status}`);
    return LOST;
  }
}

function options() {
  const text = {type: 'string'};
  const {values, positionals} = parseArgs({
    options: {recorder: text, folder: text, transcriber: text, seconds: {...text, default: '0'},
              patience: {...text, default: '150'}, restarts: {...text, default: '3'},
              limit: {...text, default: '120'}},
    allowPositionals: true,
  });
  for (const name of ['recorder', 'folder', 'transcriber'])
    if (!values[name]) throw new Error(`--${name} is missing`);
  for (const name of ['seconds', 'patience', 'restarts', 'limit']) {
    const number = values[name].trim() ? Number(values[name]) : NaN;
    if (!(number >= 0 && number <= LONGEST) || (name === 'restarts' && !Number.isInteger(number)))
      throw new Error(`--${name} is no number that can be used: ${values[name]}`);
    values[name] = number;
  }
  return [values, positionals];
}

for (const stream of [process.stdout, process.stderr])
  stream.on('error', () => {});  // nobody may be reading any more
try {
  process.exitCode = await new Host(...options()).run();
} catch (error) {
  say(error.message);
  process.exitCode = 64;
}
