// The modules that need no browser.
import assert from "node:assert/strict";
import {test} from "node:test";

import {Board, numberOf} from "../../tools/gateway/page/board.js";
import {ServerClock} from "../../tools/gateway/page/clock.js";
import {Connection, EventParser} from "../../tools/gateway/page/connection.js";
import {merged} from "../../tools/gateway/page/events.js";
import {Freshness} from "../../tools/gateway/page/freshness.js";
import {filled} from "../../tools/gateway/page/latency.js";
import {sparklinePath} from "../../tools/gateway/page/sparkline.js";
import {lookOf} from "../../tools/gateway/page/tag_states.js";
import {spanText} from "../../tools/gateway/page/texts.js";
import {spansWithin} from "../../tools/gateway/page/timeline.js";
import {extremes, rowsOf} from "../../tools/gateway/page/trend.js";
import {rowAt, topsOf} from "../../tools/gateway/page/value_rows.js";
import {itemsOf} from "../../tools/gateway/page/values.js";
import {lockReason} from "../../tools/gateway/page/write.js";

test("the server's clock runs with the local one, and a late reading does not set it back", () => {
    let local = 1000;
    const clock = new ServerClock(() => local);
    assert.equal(clock.now(), null);
    assert.equal(clock.age(5), null);
    clock.hear(50000);
    local = 2000;
    assert.equal(clock.now(), 51000);
    clock.hear(50700);  // was underway for 300 ms
    assert.equal(clock.now(), 51000);
    assert.equal(clock.age(50000), 1000);
    assert.equal(clock.age(52000), 0);
    clock.forget();
    assert.equal(clock.now(), null);
});

test("a page that slept believes neither beat nor picture of before, whichever clock tells of the sleep", (t) => {
    const clocks = {monotonic: 0, wall: 0};
    t.mock.method(performance, "now", () => clocks.monotonic);
    t.mock.method(Date, "now", () => clocks.wall);
    t.mock.method(globalThis, "setInterval", () => 0);
    let sleeps = 0;
    const freshness = new Freshness(() => {
        sleeps += 1;
    });
    const pass = (monotonic, wall) => {
        clocks.monotonic += monotonic;
        clocks.wall += wall;
    };
    freshness.hearPicture();
    pass(2999, 2999);
    assert.equal(freshness.isTrusted(), true);
    freshness.hearBeat();
    for (const [monotonic, wall] of [[60000, 60000], [400, 60000]]) {
        freshness.hearPicture();
        assert.equal(freshness.isTrusted(), true);
        pass(monotonic, wall);
        freshness.hearBeat();
        assert.equal(freshness.isAlive(), false);
        freshness.hearPicture();
        assert.equal(freshness.isTrusted(), true, "what comes later is of now");
    }
    assert.equal(sleeps, 2);
});

test("a stream is cut into events wherever its pieces end", () => {
    const parser = new EventParser();
    assert.deepEqual(parser.take("event: be"), []);
    assert.deepEqual(parser.take("at\ndata: {\"clock\":1}\n"), []);
    assert.deepEqual(parser.take("\n: a comment\n\nevent: hello\r\ndata: {}\r\n\r\n"), [{event: "beat", data: "{\"clock\":1}"}, {event: "hello", data: "{}"}]);
});

test("without trust every known value is stale, whatever the server said last", () => {
    const looks = ["fresh", "stale", "suspect", "write pending", "write failed"].map((state) => lookOf({state}, false).text);
    assert.deepEqual(looks, ["stale", "stale", "stale", "stale", "stale"]);
    assert.equal(lookOf({state: "never received"}, false).text, "never received");
    assert.equal(lookOf(null, false).text, "never received");
    assert.equal(lookOf(null, true).text, "asked for");
    assert.equal(lookOf({state: "of tomorrow"}, true).text, "suspect");
});

test("each state has a text, a symbol and a pattern of its own", () => {
    const states = ["fresh", "stale", "suspect", "never received", "write pending", "write failed"];
    for (const part of ["text", "symbol", "pattern"]) {
        assert.equal(new Set(states.map((state) => lookOf({state}, true)[part])).size, 6, part);
    }
});

const LOCKED = {isTrusted: true, session: {state: "up"}, value: {state: "fresh", texts: ["5"]}, old: null};

test("writing is locked by whatever makes the value shown doubtful", () => {
    assert.equal(lockReason(LOCKED), "");
    assert.equal(lockReason({...LOCKED, old: ["5"]}), "");
    assert.match(lockReason({...LOCKED, isTrusted: false}), /not heard/);
    assert.match(lockReason({...LOCKED, session: {state: "other program"}}), /another program/);
    assert.match(lockReason({...LOCKED, session: {state: "lost"}}), /not connected/);
    assert.match(lockReason({...LOCKED, session: null}), /not connected/);
    assert.match(lockReason({...LOCKED, value: {state: "stale", texts: ["5"]}}), /not fresh \(stale\)/);
    assert.match(lockReason({...LOCKED, value: null}), /not fresh/);
    assert.match(lockReason({...LOCKED, old: ["4"]}), /changed since/);
});

test("the board takes ages from beats, but not from those of an earlier watch", () => {
    const board = new Board();
    board.takePicture({clock: 10, values: [{tag: 7, state: "fresh", texts: ["1"], received: 9}, {tag: 3, state: "stale", texts: ["2"], received: 4}]});
    board.takeBeat({clock: 1000, received: [990, 4]});
    assert.equal(board.value(7).received, 990);
    assert.equal(board.value(3).received, 4);
    board.takeBeat({clock: 2000, received: [1990]});
    assert.equal(board.value(7).received, 990);
    board.takeChanges({clock: 2100, values: [{tag: 3, state: "fresh", texts: ["8"], received: 2095}]});
    assert.deepEqual(board.value(3).texts, ["8"]);
    board.takePicture({clock: 2200, values: []});
    assert.equal(board.value(7), null);
});

test("a picture that comes in pieces has the ages of all its tags", () => {
    const board = new Board();
    board.takePicture({clock: 10, values: [{tag: 7, state: "fresh", texts: ["1"], received: 9}]});
    board.takeChanges({clock: 11, values: [{tag: 3, state: "fresh", texts: ["2"], received: 4}]});
    board.takeBeat({clock: 1000, received: [990, 985]});
    assert.deepEqual([board.value(7).received, board.value(3).received], [990, 985]);
});

test("a value that is lost leaves a gap in its line", () => {
    const board = new Board();
    board.takePicture({clock: 0, values: [{tag: 1, state: "fresh", texts: ["10"], received: 0}]});
    board.takeBeat({clock: 5000, received: [5000]});
    board.forget(6000);
    board.takePicture({clock: 9000, values: [{tag: 1, state: "fresh", texts: ["20"], received: 9000}]});
    assert.deepEqual(board.history(1), [[0, 10], [5000, 10], [6000, null], [9000, 20]]);
    board.seedHistory(1, [[-2000, 8], [0, 9]]);
    assert.deepEqual(board.history(1)[0], [-2000, 8]);
    assert.equal(board.history(1).length, 5);
});

test("a beat before the picture of a new stream draws nothing", () => {
    const board = new Board();
    board.takePicture({clock: 0, values: [{tag: 1, state: "fresh", texts: ["10"], received: 0}]});
    board.forget(6000);
    board.takeBeat({clock: 9000, received: []});
    assert.deepEqual(board.history(1), [[0, 10], [6000, null]]);
});

test("events that the stream told while they were asked for are kept, each once and in order", () => {
    const numbers = (events) => events.map(({number}) => number);
    assert.deepEqual(numbers(merged([{number: 0}, {number: 1}], [{number: 1}, {number: 2}])), [0, 1, 2]);
    assert.deepEqual(numbers(merged([], [{number: 0}])), [0]);
    assert.deepEqual(numbers(merged([{number: 3}], [{number: 2}])), [2, 3]);
    const many = merged(Array.from({length: 1000}, (_, number) => ({number})), [{number: 1000}]);
    assert.deepEqual([many.length, many[0].number, many.at(-1).number], [1000, 1, 1000]);
});

// Timers that run out when the function that is returned is called; those of node's own test runner differ between its versions.
function playTimers(t) {
    let now = 0;
    let last = 0;
    const waiting = new Map();
    t.mock.method(globalThis, "setTimeout", (call, delay) => {
        last += 1;
        waiting.set(last, {call, at: now + delay});
        return last;
    });
    t.mock.method(globalThis, "clearTimeout", (timer) => waiting.delete(timer));
    return (milliseconds) => {
        const end = now + milliseconds;
        for (;;) {
            const [timer, next] = [...waiting].filter(([, {at}]) => at <= end).sort(([, a], [, b]) => a.at - b.at)[0] ?? [];
            if (!next) {
                break;
            }
            waiting.delete(timer);
            now = next.at;
            next.call();
        }
        now = end;
    };
}

// A Connection whose gateway is played: `streams` are those it opened, each with say(text) and the stream that it `replaces`;
// `watch(signal)` answers /api/watch. Time stands still but for pass(). `kept` is what the tab keeps while pages come and go,
// leave() is the end of this one. A second one of the same test takes over the clock and everything else from the first.
async function playedConnection(t, watch = async () => new Response("{}"), kept = new Map()) {
    t.mock.restoreAll();  // node undoes what replaces a replacement in the wrong order, and the first one would stay
    const turn = playTimers(t);
    const listeners = new Map();
    globalThis.document = {addEventListener() {}, visibilityState: "visible"};
    globalThis.window = {addEventListener: (event, listener) => listeners.set(event, listener)};
    globalThis.sessionStorage = {getItem: (key) => kept.get(key) ?? null, setItem: (key, value) => kept.set(key, value)};
    t.after(() => {
        delete globalThis.document;
        delete globalThis.window;
        delete globalThis.sessionStorage;
    });
    const streams = [];
    t.mock.method(globalThis, "fetch", async (path, {signal, headers}) => {
        if (path === "/api/watch") {
            return watch(signal);
        }
        const body = new ReadableStream({
            start(controller) {
                streams.push({replaces: headers["Replaces-Stream"], say: (text) => controller.enqueue(new TextEncoder().encode(text))});
                signal.addEventListener("abort", () => controller.error(signal.reason));
            },
        });
        return new Response(body);
    });
    const connection = new Connection(async () => {});
    const settle = async () => {
        for (let round = 0; round < 20; ++round) {
            await new Promise((done) => setImmediate(done));
        }
    };
    const pass = async (milliseconds) => {
        turn(milliseconds);
        await settle();
    };
    const say = async (text) => {
        streams.at(-1).say(text);
        await settle();
    };
    connection.start();
    await settle();
    return {connection, streams, pass, say, kept, leave: () => listeners.get("pagehide")()};
}

const HELLO = "event: hello\ndata: {\"stream\":\"1\"}\n\n";
const BEAT = "event: beat\ndata: {}\n\n";

test("a stream names the one whose place it takes, also that of the page before it in the tab", async (t) => {
    const first = await playedConnection(t);
    assert.equal(first.streams[0].replaces, "");
    await first.say("event: hello\ndata: {\"stream\":\"17\"}\n\n");
    first.connection.restart();
    await first.pass(0);
    assert.equal(first.streams[1].replaces, "17");
    await first.say("event: hello\ndata: {\"stream\":\"18\"}\n\n");
    assert.deepEqual([...first.kept], []);  // a copy of the tab would have it, too
    first.leave();
    const second = await playedConnection(t, undefined, first.kept);
    assert.equal(second.streams[0].replaces, "18");
});

test("what follows in the same piece of a stream that was replaced is not believed", async (t) => {
    const {connection, say} = await playedConnection(t);
    let beats = 0;
    connection.on("beat", () => {
        beats += 1;
        connection.restart();
    });
    await say(HELLO + BEAT + BEAT);
    assert.equal(beats, 1);
});

test("a stream that is open and silent for ten seconds is replaced", async (t) => {
    const {connection, streams, pass, say} = await playedConnection(t);
    await say(HELLO);
    await pass(9999);
    await say(BEAT);
    await pass(9999);
    assert.equal(connection.state.state, "open");
    await pass(1);
    assert.equal(connection.state.state, "lost");
    await pass(500);
    assert.equal(streams.length, 2);
});

test("a stream that never says anything is replaced, too", async (t) => {
    const {connection, streams, pass} = await playedConnection(t);
    await pass(10000);
    assert.equal(connection.state.state, "lost");
    await pass(500);
    assert.equal(streams.length, 2);
});

test("a stream on which nothing can be watched within ten seconds is replaced, though it beats", async (t) => {
    const {connection, streams, pass, say} = await playedConnection(t, (signal) => new Promise((_, fail) => {
        signal.addEventListener("abort", () => fail(signal.reason));
    }));
    await say(HELLO);
    await pass(9000);
    await say(BEAT);
    assert.equal(connection.state.state, "open");
    await pass(1000);
    assert.equal(connection.state.state, "lost");
    await pass(500);
    assert.equal(streams.length, 2);
});

test("while watching is refused, each next stream is waited for longer, and no longer once it is granted", async (t) => {
    let isGranted = false;
    const {connection, streams, pass, say} = await playedConnection(t, async () => new Response("{}", {status: isGranted ? 200 : 503}));
    for (const [at, wait] of [500, 1000, 2000, 4000, 5000, 5000].entries()) {
        await say(HELLO);
        assert.equal(connection.state.state, "lost");
        await pass(wait - 1);
        assert.equal(streams.length, at + 1);
        isGranted = at === 5;
        await pass(1);
        assert.equal(streams.length, at + 2);
    }
    await say(HELLO);
    assert.equal(connection.state.state, "open");
    await pass(10000);
    await pass(500);
    assert.equal(streams.length, 8);
});

test("only one number makes a line", () => {
    assert.equal(numberOf(["12.5"]), 12.5);
    assert.equal(numberOf(["2 (automatic)"]), 2);
    assert.equal(numberOf(["TRUE"]), 1);
    assert.equal(numberOf(["1", "2"]), null);
    assert.equal(numberOf(["BATCH"]), null);
    assert.equal(numberOf([]), null);
});

test("a sparkline holds values and keeps gaps", () => {
    assert.equal(sparklinePath([], 300000), "");
    assert.equal(sparklinePath([[0, 0], [150000, 10], [200000, null], [250000, 5]], 300000), "M0.0 22.0H60.0V2.0H80.0M100.0 12.0H120");
    assert.equal(sparklinePath([[150000, 4]], 300000), "M60.0 12.0H120");
});

test("columns become rows on the wall clock, gaps stay gaps", () => {
    const columns = [[1000, 2, 6], [2000, null, null], [3000, 4, 4]];
    assert.deepEqual(rowsOf(columns, 500000), [[new Date(501000), [2, 4, 6]], [new Date(502000), [null, null, null]], [new Date(503000), [4, 4, 4]]]);
    assert.deepEqual(extremes(columns), {least: 2, largest: 6});
    assert.equal(extremes([[2000, null, null]]), null);
});

test("spans are cut to the range, and the last goes on until now", () => {
    const spans = [{from: 0, to: 100, state: "lost"}, {from: 100, to: 900, state: "up"}, {from: 900, to: null, state: "retrying"}];
    assert.deepEqual(spansWithin(spans, 1000, 400), [{from: 600, to: 900, state: "up"}, {from: 900, to: 1000, state: "retrying"}]);
    assert.equal(spansWithin(spans, 1000, 0).length, 3);
    assert.deepEqual(spansWithin([], 1000, 0), []);
});

test("a histogram shows from its first to its last filled bucket", () => {
    assert.deepEqual(filled([[1, 0], [2, 5], [4, 0], [8, 1], [16, 0]]), [[2, 5], [4, 0], [8, 1]]);
    assert.deepEqual(filled([[1, 0]]), []);
});

const TAGS = [
    {name: "Main.setpoint", scope: "Main", description: "plant throughput", unit: "m3/h"},
    {name: "Intake.level", scope: "Intake", description: "raw tank", unit: "m"},
    {name: "Main.mode", scope: "Main", description: "", unit: ""},
];

test("tags are listed by scope, and found by words in any order", () => {
    assert.deepEqual(itemsOf(TAGS, "", "").map((item) => item.tag?.name ?? `[${item.scope} ${item.count}]`), ["[Intake 1]", "Intake.level", "[Main 2]", "Main.setpoint", "Main.mode"]);
    assert.deepEqual(itemsOf(TAGS, "", " THROUGHPUT main ").map((item) => item.tag?.name ?? item.scope), ["Main", "Main.setpoint"]);
    assert.deepEqual(itemsOf(TAGS, "Intake", "main"), []);
});

test("spans read as people say them", () => {
    assert.deepEqual([0, 900, 59999, 60000, 3600000 * 2 + 300000, 86400000 * 3 + 3600000 * 4].map(spanText), ["0.0 s", "0.9 s", "59 s", "1 min 00 s", "2 h 05 min", "3 d 4 h"]);
});

test("rows of tags and of scopes have heights of their own", () => {
    const tops = topsOf([{scope: "Main"}, {tag: 1}, {tag: 2}, {scope: "Pump"}, {tag: 3}], 100, 40);
    assert.deepEqual(tops, [0, 40, 140, 240, 280, 380]);
    for (const [height, row] of [[-5, 0], [0, 0], [39, 0], [40, 1], [139.5, 1], [140, 2], [240, 3], [279, 3], [280, 4], [379, 4], [5000, 4]]) {
        assert.equal(rowAt(tops, height), row, `at ${height}`);
    }
    assert.deepEqual(topsOf([], 100, 40), [0]);
    assert.equal(rowAt([0], 17), 0);
});
