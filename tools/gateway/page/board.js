// The latest value of each watched tag, and for sparklines where it was in the last minutes. Nothing is queued: the latest
// is all there is.

const HISTORY_MS = 5 * 60 * 1000;
const HISTORY_STEP_MS = 1000;  // a finer line cannot be seen

// The number in the first text, for a line; null for what is not a number.
export function numberOf(texts) {
    if (texts?.length !== 1) {
        return null;
    }
    if (texts[0] === "TRUE" || texts[0] === "FALSE") {
        return texts[0] === "TRUE" ? 1 : 0;
    }
    const number = Number.parseFloat(texts[0]);
    return Number.isFinite(number) ? number : null;
}

export class Board {
    #values = new Map();   // tag -> as the server sent it
    #order = [];           // of the tags in the last picture, which is that of the ages in beats
    #history = new Map();  // tag -> [[clock, number or null]]

    // Null: the server has not told it (yet).
    value(tag) {
        return this.#values.get(tag) ?? null;
    }

    history(tag) {
        return this.#history.get(tag) ?? [];
    }

    // Points from before the first that is there.
    seedHistory(tag, points) {
        const known = this.history(tag);
        const first = known.length === 0 ? Infinity : known[0][0];
        this.#history.set(tag, [...points.filter(([clock]) => clock < first), ...known]);
    }

    // Nothing of before belongs to what comes.
    startAnew() {
        this.#values.clear();
        this.#order = [];
        this.#history.clear();
    }

    takePicture({clock, values}) {
        this.#order = values.map(({tag}) => tag);
        this.#values = new Map(values.map((value) => [value.tag, value]));
        this.#note(clock, values);
    }

    // A large picture comes in pieces, of which all but the first are changes with tags that are new.
    takeChanges({clock, values}) {
        for (const value of values) {
            if (!this.#values.has(value.tag)) {
                this.#order.push(value.tag);
            }
            this.#values.set(value.tag, value);
        }
        this.#note(clock, values);
    }

    // A beat tells when what did not change was received last.
    takeBeat({clock, received}) {
        if (received?.length !== this.#order.length) {
            return;  // of a watch that another one has replaced
        }
        const values = this.#order.map((tag) => this.#values.get(tag));  // not those of a picture that is forgotten
        values.forEach((value, at) => {
            value.received = received[at];
        });
        this.#note(clock, values);
    }

    // Nothing is known any more: the lines get a gap.
    forget(clock) {
        if (clock !== null) {
            for (const tag of this.#values.keys()) {
                this.#add(tag, clock, null);
            }
        }
        this.#order = [];
    }

    #note(clock, values) {
        for (const {tag, texts, state} of values) {
            const isKnown = state === "fresh" || state === "write pending" || state === "write failed";
            this.#add(tag, clock, isKnown ? numberOf(texts) : null);
        }
    }

    #add(tag, clock, number) {
        let points = this.#history.get(tag);
        if (!points) {
            this.#history.set(tag, points = []);
        }
        const last = points.at(-1);
        if (last && number === null && last[1] === null) {
            return;
        }
        if (last && last[1] !== null && number !== null && clock - last[0] < HISTORY_STEP_MS) {
            last[1] = number;
        } else {
            points.push([clock, number]);
        }
        while (points[0][0] < clock - HISTORY_MS) {
            points.shift();
        }
    }
}
