// Which tags are in the trend, by name, so that it outlives a reload and a gateway that numbers anew.

const KEY = "trend";
export const SELECTION_LIMIT = 6;

export class Selection {
    #names;
    #listeners = [];

    constructor() {
        try {
            this.#names = JSON.parse(sessionStorage.getItem(KEY)) ?? [];
        } catch {
            this.#names = [];
        }
    }

    onChange(listener) {
        this.#listeners.push(listener);
    }

    get names() {
        return this.#names;
    }

    has(name) {
        return this.#names.includes(name);
    }

    isFull() {
        return this.#names.length >= SELECTION_LIMIT;
    }

    // False when there is no room.
    toggle(name) {
        if (!this.has(name) && this.isFull()) {
            return false;
        }
        this.#names = this.has(name) ? this.#names.filter((other) => other !== name) : [...this.#names, name];
        sessionStorage.setItem(KEY, JSON.stringify(this.#names));
        for (const listener of this.#listeners) {
            listener();
        }
        return true;
    }
}
