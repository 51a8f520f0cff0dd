// What a recording leaves: its lines, the answers of the user's command about each chunk, and the transcript
// that is made of them. Nothing of it ever stops the host: what cannot be done is reported.

import {spawn} from 'node:child_process';
import {closeSync, openSync, renameSync, writeFileSync, writeSync} from 'node:fs';
import {join} from 'node:path';

export const say = (text) => process.stderr.write(`[host] ${text}\n`);

function clock(ms) {
  const two = (number) => String(Math.floor(number)).padStart(2, '0');
  return `${two(ms / 3600000)}:${two(ms / 60000 % 60)}:${two(ms / 1000 % 60)}.${String(ms % 1000).padStart(3, '0')}`;
}

/** What was said, by wall clock: a recording that was begun again has another time zero. The files are
 *  those of the last answer whatever happens: each is replaced when the next one is complete. */
export class Transcript {
  #zero = null;  // of the first recording, milliseconds since 1970
  #end = 0;  // of the chunks so far, seconds
  #said = [];  // times in milliseconds
  #complained = false;

  constructor(folder) {
    this.folder = folder;
  }

  /** Seconds from the first recording's time zero to this one. If the clock was set back in between, this one
   *  follows the one before. */
  offset(nullUnixMs) {
    this.#zero ??= nullUnixMs;
    return Math.max((nullUnixMs - this.#zero) / 1000, this.#end);
  }

  announced(offset, chunk) {
    this.#end = Math.max(this.#end, offset + chunk.t1);
  }

  add(offset, chunk, text) {
    const begin = Math.round((offset + chunk.t0) * 1000);
    const end = Math.max(Math.round((offset + chunk.t1) * 1000), begin + 1);  // WebVTT wants it later
    this.#said.push({begin, end, channel: chunk.channel, text});
    process.stdout.write(`${clock(begin)} ${chunk.channel}: ${text}\n`);
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
export class Kept {
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
export class Transcriber {
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
