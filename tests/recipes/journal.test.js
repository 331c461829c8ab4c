// What the journal of the examples takes for new, and what it finds missing.
import assert from "node:assert/strict";
import {test} from "node:test";

import {Journal} from "../../examples/broker/journal.js";

const value = (tag, second, number = second) => ({tag, value: number, state: "fresh", time: `2026-01-02T03:04:0${second}.000Z`});
const message = (sequence, ...values) => ({version: 1, plc: "mixer", sequence, values});

test("what comes twice is new once, by tag and time", () => {
    const journal = new Journal();
    assert.deepEqual(journal.take("hall/mixer", message(7, value("a", 1), value("b", 1))),
        {values: [value("a", 1), value("b", 1)], repeated: 0});
    assert.deepEqual(journal.take("hall/mixer", message(7, value("a", 1), value("b", 1))), {values: [], repeated: 2});
    assert.deepEqual(journal.take("hall/mixer", message(8, value("a", 1), value("a", 2))), {values: [value("a", 2)], repeated: 1});
});

test("a change of state is new though its time is that of the value", () => {
    const journal = new Journal();
    journal.take("hall/mixer", message(1, value("a", 1)));
    const stale = {...value("a", 1), state: "stale"};
    assert.deepEqual(journal.take("hall/mixer", message(2, stale)), {values: [stale], repeated: 0});
});

test("PLCs have numbers and values of their own", () => {
    const journal = new Journal();
    journal.take("hall/mixer", message(1, value("a", 1)));
    assert.deepEqual(journal.take("hall/pump", message(9, value("a", 1))).values, [value("a", 1)]);
    assert.deepEqual(journal.holes(), []);
});

test("what is missing between numbers is told until it comes, in any order", () => {
    const journal = new Journal();
    for (const sequence of [5, 9, 6, 12]) {
        journal.take("hall/mixer", message(sequence));
    }
    assert.deepEqual(journal.holes(), [{prefix: "hall/mixer", first: 7, last: 8}, {prefix: "hall/mixer", first: 10, last: 11}]);
    for (const sequence of [8, 11, 7, 10]) {
        journal.take("hall/mixer", message(sequence));
    }
    assert.deepEqual(journal.holes(), []);
});

test("what a gap record names is dropped, not missing", () => {
    const journal = new Journal();
    journal.take("hall/mixer", message(1));
    const gap = {first: 2, last: 4, from: "2026-01-02T03:04:05.000Z", to: "2026-01-02T03:04:07.000Z", reason: "the store is full"};
    journal.take("hall/mixer", {version: 1, plc: "mixer", sequence: 6, gap});
    assert.deepEqual(journal.holes(), [{prefix: "hall/mixer", first: 5, last: 5}]);
    assert.deepEqual(journal.dropped(), [{prefix: "hall/mixer", ...gap}]);
});

test("a gap of before the first message makes no hole", () => {
    const journal = new Journal();
    journal.take("hall/mixer", message(100));
    journal.take("hall/mixer", {version: 1, plc: "mixer", sequence: 101, gap: {first: 2, last: 4}});
    assert.deepEqual(journal.holes(), []);
});
