// The one stream of events from the gateway: open while this tab is visible, closed while it is hidden or frozen, opened
// again when it broke. Each opening begins with a whole picture of what is watched, then come changes.
//
// Read with fetch, not with EventSource, which hides why a server refuses.

import {ApiError, post, request} from "./api.js";

const FIRST_WAIT_MS = 500;
const LONGEST_WAIT_MS = 5000;
const WATCH_DELAY_MS = 60;       // while somebody scrolls, one request for the last place is enough
const OPENING_LIMIT_MS = 10000;  // for the first bytes
const SILENCE_LIMIT_MS = 10000;  // a beat is due each second
const ANSWER_LIMIT_MS = 10000;   // of what each stream begins with
const LAST_STREAM = "stream";    // in the tab's own storage
export const WATCH_LIMIT = 500;  // tags

// Splits the text of a stream into events as they become complete.
export class EventParser {
    #rest = "";

    // Answers [{event, data}].
    take(text) {
        const blocks = (this.#rest + text).replaceAll("\r\n", "\n").split("\n\n");
        this.#rest = blocks.pop();
        return blocks.map(EventParser.#parse).filter((parsed) => parsed.data !== "");
    }

    static #parse(block) {
        const parsed = {event: "message", data: ""};
        for (const line of block.split("\n")) {
            const [, name, value] = /^([^:]*):? ?(.*)$/.exec(line);
            if (name === "event") {
                parsed.event = value;
            } else if (name === "data") {
                parsed.data += value;
            }
        }
        return parsed;
    }
}

// What `ask(signal)` answers; it is given up when that takes too long.
async function inTime(ask) {
    const abort = new AbortController();
    const limit = setTimeout(() => abort.abort(), ANSWER_LIMIT_MS);
    try {
        return await ask(abort.signal);
    } finally {
        clearTimeout(limit);
    }
}

// Listeners are told: "hello", "beat", "picture", "changes", "happened", "write" with what arrived; "state" with
// {state: "connecting" | "open" | "lost" | "refused" | "hidden", problem: ApiError or null}.
export class Connection {
    #listeners = new Map();
    #abort = null;
    #stream = null;
    // Also of the page that was in this tab before. The gateway may not have noticed that it is gone: the next stream takes its
    // place.
    #lastStream = sessionStorage.getItem(LAST_STREAM) ?? "";
    #isPrepared = false;
    #watched = [];
    #watchTimer = null;
    #retryTimer = null;
    #wait = FIRST_WAIT_MS;
    #state = {state: "hidden", problem: null};
    #prepare;

    // `prepare(signal)` is awaited after each hello, before anything is watched: the numbers of tags may be other ones. The
    // signal gives it up when it takes too long.
    constructor(prepare) {
        this.#prepare = prepare;
        document.addEventListener("visibilitychange", () => this.#follow());
        document.addEventListener("freeze", () => this.#close("hidden"));
        document.addEventListener("resume", () => this.#follow());
        window.addEventListener("pagehide", () => {
            sessionStorage.setItem(LAST_STREAM, this.#lastStream);  // only now: what is stored earlier, a copy of the tab has, too
            this.#close("hidden");
        });
        window.addEventListener("pageshow", () => this.#follow());
        window.addEventListener("online", () => this.restart());
    }

    on(event, listener) {
        this.#listeners.set(event, [...(this.#listeners.get(event) ?? []), listener]);
    }

    get state() {
        return this.#state;
    }

    // The number of the open stream; null when there is none.
    get stream() {
        return this.#stream;
    }

    start() {
        this.#follow();
    }

    // A new stream in place of the one that is there: what came before it is not believed any more.
    restart() {
        this.#close("connecting");
        this.#wait = FIRST_WAIT_MS;
        this.#follow();
    }

    // What is looked at from now on, in the order in which beats tell their ages. At most WATCH_LIMIT of them are taken.
    watch(tags) {
        const wanted = tags.slice(0, WATCH_LIMIT);
        if (wanted.length === this.#watched.length && wanted.every((tag, at) => tag === this.#watched[at])) {
            return;
        }
        this.#watched = wanted;
        clearTimeout(this.#watchTimer);
        if (this.#isPrepared) {
            this.#watchTimer = setTimeout(() => this.#tellWatched(), WATCH_DELAY_MS);
        }
    }

    #follow() {
        if (document.visibilityState === "hidden") {
            this.#close("hidden");
        } else if (this.#abort === null) {
            this.#open();
        }
    }

    async #open() {
        const abort = new AbortController();
        this.#abort = abort;
        clearTimeout(this.#retryTimer);
        this.#change("connecting");
        let problem = null;
        const opening = setTimeout(() => abort.abort(), OPENING_LIMIT_MS);
        try {
            const response = await request("/api/stream", {signal: abort.signal, headers: {Accept: "text/event-stream", "Replaces-Stream": this.#lastStream}});
            clearTimeout(opening);
            await this.#read(response.body, abort);
        } catch (caught) {
            problem = caught instanceof ApiError ? caught : null;
        } finally {
            clearTimeout(opening);
            abort.abort();
        }
        if (this.#abort === abort) {
            this.#forget();
            this.#change(problem !== null && problem.status !== 0 ? "refused" : "lost", problem);
            this.#retryTimer = setTimeout(() => this.#follow(), this.#wait);
            this.#wait = Math.min(2 * this.#wait, LONGEST_WAIT_MS);
        }
    }

    // Until the stream ends, falls silent or is replaced.
    async #read(body, abort) {
        const reader = body.pipeThrough(new TextDecoderStream()).getReader();
        const parser = new EventParser();
        for (;;) {
            const silence = setTimeout(() => abort.abort(), SILENCE_LIMIT_MS);
            const {value, done} = await reader.read().finally(() => clearTimeout(silence));
            if (done) {
                return;
            }
            for (const {event, data} of parser.take(value)) {
                if (this.#abort !== abort) {
                    return;  // a listener may have replaced the stream: the rest is not believed
                }
                this.#take(event, JSON.parse(data));
            }
        }
    }

    #take(event, data) {
        if (event === "hello") {
            this.#stream = data.stream;
            this.#lastStream = data.stream;
            this.#change("open");
            this.#begin(data.stream);
        }
        this.#tell(event, data);
    }

    async #begin(stream) {
        try {
            await inTime((signal) => this.#prepare(signal));
        } catch {
            this.#giveUp(stream);
            return;
        }
        if (this.#stream === stream) {
            this.#isPrepared = true;
            await this.#tellWatched();
        }
    }

    async #tellWatched() {
        clearTimeout(this.#watchTimer);
        const stream = this.#stream;
        try {
            await inTime((signal) => post("/api/watch", {stream, tags: this.#watched}, {signal}));
        } catch {
            this.#giveUp(stream);
            return;
        }
        if (this.#stream === stream) {
            this.#wait = FIRST_WAIT_MS;
        }
    }

    // A stream that shows nothing ends like one that broke, so that each next one is waited for longer.
    #giveUp(stream) {
        if (this.#stream === stream) {
            this.#abort.abort();
        }
    }

    #close(state) {
        clearTimeout(this.#retryTimer);
        const abort = this.#abort;
        this.#forget();
        abort?.abort();
        this.#change(state);
    }

    #forget() {
        clearTimeout(this.#watchTimer);
        this.#abort = null;
        this.#stream = null;
        this.#isPrepared = false;
    }

    #change(state, problem = null) {
        this.#state = {state, problem};
        this.#tell("state", this.#state);
    }

    #tell(event, data) {
        for (const listener of this.#listeners.get(event) ?? []) {
            try {
                listener(data);
            } catch (problem) {
                reportError(problem);  // which must not end the stream
            }
        }
    }
}
