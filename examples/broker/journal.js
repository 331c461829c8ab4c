// What gateways have published, each value once: messages may come twice and out of order, and this tells what is new and
// whether anything is missing. Knows nothing of the way by which they come.

const REMEMBERED = 200000;  // values of one PLC, of which repetitions are known

// Numbers that came, as a few runs of them.
class Numbers {
    #runs = [];  // [first, last], ascending, none touches the next

    get first() {
        return this.#runs[0]?.[0];
    }

    add(first, last = first) {
        const joined = [first, last];
        const apart = this.#runs.filter(([from, to]) => {
            const touches = from <= joined[1] + 1 && to >= joined[0] - 1;
            if (touches) {
                joined[0] = Math.min(joined[0], from);
                joined[1] = Math.max(joined[1], to);
            }
            return !touches;
        });
        this.#runs = [...apart, joined].sort((a, b) => a[0] - b[0]);
    }

    // [first, last] of what lies between them.
    holes() {
        return this.#runs.slice(1).map(([from], i) => [this.#runs[i][1] + 1, from - 1]);
    }
}

export class Journal {
    #plcs = new Map();  // by the prefix of the topic

    // The values of this message that did not come before, each {tag, value, state, time}, and how many did. `prefix` is
    // what the topic has before "/values".
    take(prefix, message) {
        if (!this.#plcs.has(prefix)) {
            this.#plcs.set(prefix, {came: new Numbers(), dropped: [], seen: new Set()});
        }
        const plc = this.#plcs.get(prefix);
        plc.came.add(message.sequence);
        if (message.gap) {
            const {first, last} = message.gap;
            plc.dropped.push(message.gap);
            if (first >= plc.came.first) {
                plc.came.add(first, last);
            }
        }
        // A change of state alone has the time when the value was received, as the value had.
        const values = (message.values ?? []).filter(({tag, time, state}) => {
            const key = `${tag} ${time} ${state}`;
            const isNew = !plc.seen.has(key);
            plc.seen.add(key);
            return isNew;
        });
        for (const key of plc.seen) {
            if (plc.seen.size <= REMEMBERED) {
                break;
            }
            plc.seen.delete(key);
        }
        return {values, repeated: (message.values ?? []).length - values.length};
    }

    // What neither came nor is named by a gap record: {prefix, first, last}. While kept messages are underway these are
    // still to come.
    holes() {
        return [...this.#plcs].flatMap(([prefix, {came}]) => came.holes().map(([first, last]) => ({prefix, first, last})));
    }

    // What gateways had to drop, as they told.
    dropped() {
        return [...this.#plcs].flatMap(([prefix, {dropped}]) => dropped.map((gap) => ({prefix, ...gap})));
    }
}
