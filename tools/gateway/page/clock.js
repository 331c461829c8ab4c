// The server's monotonic clock, as far as it can be known here. All ages are differences of that clock, so neither its wall
// clock nor that of this machine matters.

const REMEMBERED = 10;  // readings; old ones go, since two clocks drift

export class ServerClock {
    #local;
    #offsets = [];

    // `local` is a monotonic clock in milliseconds.
    constructor(local = () => performance.now()) {
        this.#local = local;
    }

    // A reading that has just arrived. It was underway for a while, which makes the server look too slow, so the greatest of
    // the last offsets is the best.
    hear(clock) {
        this.#offsets.push(clock - this.#local());
        if (this.#offsets.length > REMEMBERED) {
            this.#offsets.shift();
        }
    }

    // After a sleep of this machine, or with another server, what was known is worth nothing.
    forget() {
        this.#offsets = [];
    }

    // Milliseconds, or null before the first reading.
    now() {
        return this.#offsets.length === 0 ? null : this.#local() + Math.max(...this.#offsets);
    }

    // How long ago the server's clock showed `clock`; null when that is not known.
    age(clock) {
        const now = this.now();
        return now === null || clock === null || clock === undefined ? null : Math.max(0, now - clock);
    }
}
