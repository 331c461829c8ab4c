// Whether what this page shows can still be believed: only while the server's beat arrives, and while this page has not
// slept. The server says itself which values are stale; this is for the case that the server, the network or the browser
// does not get as far.

export const BEAT_LIMIT_MS = 3000;
const LOOK_EACH_MS = 500;

export class Freshness {
    #lastBeat = null;
    #hasPicture = false;
    #lastLook;
    #listeners = [];
    #wasTrusted = false;
    #onSleep;

    // `onSleep` is called when the page has slept for longer than a beat may be late.
    constructor(onSleep) {
        this.#onSleep = onSleep;
        this.#lastLook = {monotonic: performance.now(), wall: Date.now()};
        setInterval(() => this.look(), LOOK_EACH_MS);
    }

    onChange(listener) {
        this.#listeners.push(listener);
    }

    // Whether the server is heard.
    isAlive() {
        return this.#lastBeat !== null && performance.now() - this.#lastBeat < BEAT_LIMIT_MS;
    }

    // Whether values are what the server last said of them.
    isTrusted() {
        return this.#hasPicture && this.isAlive();
    }

    // Milliseconds; null when none arrived on this stream.
    sinceBeat() {
        return this.#lastBeat === null ? null : performance.now() - this.#lastBeat;
    }

    // One that was waiting while the page slept tells of the time before.
    hearBeat() {
        if (this.look()) {
            return;
        }
        this.#lastBeat = performance.now();
        this.#tell();
    }

    hearPicture() {
        this.#hasPicture = true;
        this.hearBeat();
    }

    // Until the next whole picture nothing is believed.
    distrust() {
        this.#lastBeat = null;
        this.#hasPicture = false;
        this.#tell();
    }

    // A timer that comes much too late tells of a tab that was frozen. When the whole machine slept, some browsers stop the
    // monotonic clock, too; then only the wall clock has run on. Returns whether the page has slept.
    look() {
        const now = {monotonic: performance.now(), wall: Date.now()};
        const gap = now.monotonic - this.#lastLook.monotonic;
        const wallGap = now.wall - this.#lastLook.wall;
        this.#lastLook = now;
        const hasSlept = gap >= BEAT_LIMIT_MS || wallGap - gap >= BEAT_LIMIT_MS;
        if (hasSlept) {
            this.distrust();
            this.#onSleep();
        }
        this.#tell();
        return hasSlept;
    }

    #tell() {
        const trusted = this.isTrusted();
        if (trusted !== this.#wasTrusted) {
            this.#wasTrusted = trusted;
            for (const listener of this.#listeners) {
                listener(trusted);
            }
        }
    }
}
