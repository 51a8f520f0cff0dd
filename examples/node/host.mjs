#!/usr/bin/env node
// A small host for hallkorb: records, has every chunk transcribed, writes one transcript.
//
//     host.mjs --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
//              [--limit N] [-- options of the recorder...]
//
// See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.

import {spawn} from 'node:child_process';
import {closeSync, mkdirSync, openSync, renameSync, writeFileSync, writeSync} from 'node:fs';
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {parse} from './lines.mjs';

const RECORDED = 0, LOST = 1, REFUSED = 2;
const LONGEST = 1e6;  // seconds that an option may name; timers take no more than some weeks

const say = (text) => process.stderr.write(`[host] ${text}\n`);

function clock(seconds) {
  const ms = Math.round(seconds * 1000);
  const two = (number) => String(Math.floor(number)).padStart(2, '0');
  return `${two(ms / 3600000)}:${two(ms / 60000 % 60)}:${two(ms / 1000 % 60)}.${String(ms % 1000).padStart(3, '0')}`;
}

/** What was said, by wall clock: a recording that was begun again has another time zero. The files are
 *  those of the last answer whatever happens: each is replaced when the next one is complete. */
class Transcript {
  #zero = null;  // of the first recording, milliseconds since 1970
  #said = [];
  #complained = false;

  constructor(folder) {
    this.folder = folder;
  }

  /** Seconds from the first recording's time zero to this one. */
  offset(nullUnixMs) {
    this.#zero ??= nullUnixMs;
    return (nullUnixMs - this.#zero) / 1000;
  }

  add(offset, chunk, text) {
    this.#said.push({begin: offset + chunk.t0, end: offset + chunk.t1, channel: chunk.channel, text});
    process.stdout.write(`${clock(offset + chunk.t0)} ${chunk.channel}: ${text}\n`);
    this.write();
  }

  /** Returns whether both files are there. */
  write() {
    const said = this.#said.sort((a, b) => a.begin - b.begin || a.end - b.end);
    const escape = (text) => text.replaceAll('&', '&amp;').replaceAll('<', '&lt;').replaceAll('>', '&gt;');
    try {
      this.#replace('transcript.txt', said.map((s) => `${clock(s.begin)} ${s.channel}: ${s.text}\n`).join(''));
      this.#replace('transcript.vtt', 'WEBVTT\n' + said.map((s) =>
        `\n${clock(s.begin)} --> ${clock(s.end)}\n<v ${s.channel}>${escape(s.text)}\n`).join(''));
    } catch (error) {
      if (!this.#complained) say(`the transcript cannot be written: ${error.message}`);
      this.#complained = true;
      return false;
    }
    return true;
  }

  #replace(name, content) {
    const path = join(this.folder, name);
    writeFileSync(`${path}.part`, content);
    renameSync(`${path}.part`, path);
  }
}

/** The recorder's lines as they came. What the disk refuses waits until there is room again. */
class Kept {
  #file = null;
  #waiting = Buffer.alloc(0);
  #complained = false;

  constructor(path) {
    this.path = path;
  }

  add(text) {
    this.#waiting = Buffer.concat([this.#waiting, Buffer.from(text)]);
    try {
      this.#file ??= openSync(this.path, 'w');
      while (this.#waiting.length > 0)
        this.#waiting = this.#waiting.subarray(writeSync(this.#file, this.#waiting));
    } catch (error) {
      if (!this.#complained) say(`the lines cannot be kept: ${error.message}`);
      this.#complained = true;
    }
  }

  /** Returns whether all of them are in the file. */
  close() {
    this.add('');
    if (this.#file !== null) closeSync(this.#file);
    return this.#waiting.length === 0;
  }
}

/** Asks the command for each chunk, one after the other, beside the recording. */
class Transcriber {
  #last = Promise.resolve();
  #child = null;
  #givenUp = false;
  #leftOut = 0;

  constructor(command, limit, transcript) {
    this.call = ['-c', `${command} "$1"`, 'sh'];
    this.limit = limit;
    this.transcript = transcript;
  }

  take(offset, chunk) {
    this.#last = this.#last.then(() => this.#ask(offset, chunk)).catch((error) => {
      // No process left, or no name of a file.
      say(`transcriber: ${error.message.slice(0, 100)} for ${chunk.path.slice(0, 100)}`);
    });
  }

  /** Resolves when every chunk has its answer. */
  async finish() {
    await this.#last;
    if (this.#leftOut > 0) say(`${this.#leftOut} chunks were not waited for`);
  }

  /** The chunks that have no answer yet get none. */
  giveUp() {
    this.#givenUp = true;
    this.#kill();
  }

  async #ask(offset, chunk) {
    if (this.#givenUp) {
      this.#leftOut += 1;
      return;
    }
    // In a group of its own: Ctrl-C in a terminal goes to every program in it and must not cost the last
    // answers, and what the command has started is killed with it.
    const child = spawn('/bin/sh', [...this.call, chunk.path],
                        {stdio: ['ignore', 'pipe', 'inherit'], detached: true});
    let answer = '', late = false;
    const ended = new Promise((resolve, reject) => child.on('error', reject).on('close', resolve));
    child.stdout?.setEncoding('utf8').on('data', (text) => { answer += text; });
    this.#child = child;
    const timer = setTimeout(() => {
      late = true;
      this.#kill();
      child.stdout.destroy();  // what has left the group may hold it open
    }, this.limit * 1000);
    const status = await ended.finally(() => {
      clearTimeout(timer);
      this.#child = null;
    });
    const text = answer.split(/\s+/).filter(Boolean).join(' ');
    if (late) say(`transcriber: no answer within ${this.limit} s for ${chunk.path}`);
    else if (status !== 0 && this.#givenUp) this.#leftOut += 1;
    else if (status !== 0) say(`transcriber: status ${status} for ${chunk.path}`);
    else if (text) this.transcript.add(offset, chunk, text);
  }

  #kill() {
    try {
      if (this.#child) process.kill(-this.#child.pid, 'SIGKILL');
    } catch (error) {
      if (error.code !== 'ESRCH') throw error;
    }
  }
}

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
      outcome = await this.#record(this.#newFolder());
      if (outcome !== LOST || this.#stopping || left === 0) break;
      say('beginning again');
    }
    await this.transcriber.finish();
    const written = this.transcript.write();
    return outcome === RECORDED && !(written && this.#allKept) ? LOST : outcome;
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
  async #record(folder) {
    const child = spawn(this.options.recorder, ['--out', folder, ...this.recorderOptions],
                        {stdio: ['ignore', 'pipe', 'pipe']});
    this.#recorder = child;
    const ended = new Promise((resolve) => {
      child.on('error', (error) => resolve({error}));
      child.on('close', (status, signal) => resolve({status, signal}));
    });
    if (!child.stdout) return this.#outcome(await ended, false);  // too many files are open
    const [done] = await Promise.all([this.#readLines(child.stdout, folder), this.#passOn(child.stderr)]);
    return this.#outcome(await ended, done);
  }

  async #passOn(stream) {
    for await (const text of linesOf(stream)) process.stderr.write(`${text}\n`);
  }

  /** Reads standard output to its end, and keeps it; resolves to whether "done" came. */
  async #readLines(stream, folder) {
    const kept = new Kept(join(folder, 'ereignisse.jsonl'));
    let offset = 0, done = false;
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
      if (line.event === 'chunk') this.transcriber.take(offset, line);
      done ||= line.event === 'done';
      this.#show(line, folder);
    }
    this.#allKept = kept.close() && this.#allKept;
    return done;
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

  #outcome({status, signal, error}, done) {
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

process.stdout.on('error', () => {});  // nobody may be reading any more
try {
  process.exitCode = await new Host(...options()).run();
} catch (error) {
  say(error.message);
  process.exitCode = 64;
}
