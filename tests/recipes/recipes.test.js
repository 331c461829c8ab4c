// The recipes of the documents, tried: what mosquitto_sub, a program for Node and InfluxDB's line protocol get from a gateway.
import assert from "node:assert/strict";
import {spawnSync} from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import {after, before, describe, test} from "node:test";

import {eventually, newFolder, pause, ROOT, startGateway, startSimulator, stopAll} from "../browser/support/programs.js";
import {Broker, Listening, stopListening} from "./broker.js";

const SUBSCRIBER = path.join(ROOT, "build/broker/subscriber.js");  // where npm has put what it imports
const PREFIX = "acme/leipzig/hall3/mixer";

// A counter that no pass can overlook, and a clock that is another one in each.
const SYMBOLS = {
    format: "ac500-symbols",
    version: 1,
    areas: [{number: 1, bytes: 64}],
    scopes: [{name: "Main", variables: [
        {name: "clock", type: "UDINT", area: 1, offset: 0},
        {name: "counter", type: "UINT", area: 1, offset: 4},
        {name: "setpoint", type: "REAL", area: 1, offset: 8},
    ]}],
    simulation: {
        signals: [{tag: "Main.clock", signal: "counter", periodMs: 1}, {tag: "Main.counter", signal: "counter", periodMs: 1000}],
        initial: [{tag: "Main.setpoint", value: 21.5}],
    },
};

const folder = newFolder();
const symbols = path.join(folder, "plant.json");
fs.writeFileSync(symbols, JSON.stringify(SYMBOLS));

describe("taking values from a broker", () => {
    let simulator;
    let broker;
    let gateway;

    before(async () => {
        simulator = await startSimulator({symbols});
        broker = await Broker.start();
    });

    after(async () => {
        await stopAll();
        await stopListening();
    });

    async function publish(settings = {}) {
        gateway = await startGateway(simulator.port, {symbols, tags: ["Main"], name: "mixer",
            broker: {servers: [broker.url], topic: PREFIX, store: {file: "mixer.store"}, ...settings}});
        return gateway;
    }

    test("mosquitto_sub shows status, info and values, and the status alone when all that is left is retained", async () => {
        const everything = broker.subscribe("-t", "acme/#", "-v", "-q", "1");
        await publish();
        const [, status] = /^\S+ (.*)$/.exec(await everything.line(/^acme\/leipzig\/hall3\/mixer\/status .*"up"/));
        assert.equal(JSON.parse(status).plc, "mixer");
        const [, info] = /^\S+ (.*)$/.exec(await everything.line(/^acme\/leipzig\/hall3\/mixer\/info /));
        assert.equal(JSON.parse(info).tags, 3);
        const [, payload] = /^\S+ (.*)$/.exec(await everything.line(/^acme\/leipzig\/hall3\/mixer\/values .*setpoint/));
        const setpoint = JSON.parse(payload).values.find(({tag}) => tag === "Main.setpoint");
        assert.equal(setpoint.value, 21.5);
        assert.equal(setpoint.state, "fresh");
        assert.ok(Math.abs(Date.parse(setpoint.time) - Date.now()) < 60000, setpoint.time);

        await gateway.stop();
        await everything.line(/status .*"ended"/);
        const retained = broker.subscribe("-t", "acme/#", "-v", "--retained-only", "-W", "1");
        await retained.ended;
        assert.deepEqual(retained.lines().map((line) => line.split(" ")[0]).sort(), [`${PREFIX}/info`, `${PREFIX}/status`]);
        await everything.stop();
    });

    test("a gateway that is killed is told to be gone, by the broker", async () => {
        const statuses = broker.subscribe("-t", "acme/+/+/+/status", "-q", "1", "-R");
        await publish();
        await statuses.line(/"up"/);
        await gateway.stop("SIGKILL");
        await statuses.line(/"gone"/);
        await statuses.stop();
    });

    test("a PLC that is gone, and back, is told each time, by its gateway", async () => {
        const statuses = broker.subscribe("-t", "acme/+/+/+/status", "-q", "1", "-R");
        await publish();
        await statuses.line(/"up"/);
        const {port} = simulator;
        const told = statuses.lines().length;
        await simulator.stop();
        await statuses.line(/"plc away"/, {after: told});
        simulator = await startSimulator({symbols, port});
        await statuses.line(/"up"/, {after: told});
        await gateway.stop();
        await statuses.line(/"ended"/, {after: told});
        const states = statuses.lines().slice(told).map((line) => JSON.parse(line).state);
        // Told again when the reason becomes another one: the connection is lost first, then refused.
        assert.deepEqual(states.filter((state, index) => state !== states[index - 1]), ["plc away", "up", "ended"]);
        await statuses.stop();
    });

    test("over restarts of the broker a subscriber for Node gets each value, each once, and finds no hole", async () => {
        const subscriber = new Listening("node", [SUBSCRIBER, broker.url, "acme/#", "recipe"]);
        await publish();
        await subscriber.line(/Main\.counter \d+ fresh$/);
        for (let restart = 0; restart < 2; ++restart) {
            await broker.stop();
            await pause(1500);  // so that the counter goes on without a broker
            await broker.begin();
            const before = subscriber.lines().length;
            await subscriber.line(/Main\.counter \d+ fresh$/, {after: before});
        }
        await eventually(() => subscriber.complained.split("\n").filter((line) => /missing/.test(line)).at(-1) ===
            "nothing is missing any more", 30000, `messages do not come: ${subscriber.complained}`);
        await gateway.stop();
        await subscriber.line(/^acme\/leipzig\/hall3\/mixer is ended$/);
        const exitCode = await subscriber.stop("SIGTERM");
        assert.match(subscriber.complained, /missing: \[\]/);
        assert.match(subscriber.complained, /dropped: \[\]/);
        assert.equal(exitCode, 0);

        const shown = subscriber.lines().map((line) => /^(\S+) \S+ (Main\.\w+) (\S+) fresh$/.exec(line)).filter(Boolean);
        const keys = shown.map(([, time, tag]) => `${tag} ${time}`);
        assert.equal(new Set(keys).size, keys.length, "a value was shown twice");
        const counts = [...new Set(shown.filter(([, , tag]) => tag === "Main.counter").map(([, , , value]) => Number(value)))]
            .sort((a, b) => a - b);
        assert.ok(counts.length >= 5, counts.join(" "));
        assert.equal(counts.at(-1) - counts[0], counts.length - 1, `the counter has a hole: ${counts.join(" ")}`);
    });

    test("the rights of the page of fleets let a gateway do what it needs, and nothing in another's name", async () => {
        const page = fs.readFileSync(path.join(ROOT, "docs/fleet.md"), "utf8");
        const [block] = /^    # acl_file.*\n(?:(?: {4}.*)?\n)*/m.exec(page);
        const users = {mixer: "one", pump: "two", historian: "three"};
        const guarded = await Broker.start({users, rights: block.replace(/^ {4}/gm, "")});
        const login = (name) => ["-u", name, "-P", users[name]];
        const historian = guarded.subscribe(...login("historian"), "-t", "acme/#", "-v", "-q", "1");
        fs.writeFileSync(path.join(folder, "password"), "one\n", {mode: 0o600});
        await publish({servers: [guarded.url], user: "mixer", passwordFile: path.join(folder, "password")});
        await historian.line(/^acme\/leipzig\/hall3\/mixer\/status .*"up"/);
        await historian.line(/^acme\/leipzig\/hall3\/mixer\/info /);
        await historian.line(/^acme\/leipzig\/hall3\/mixer\/values .*setpoint/);
        const say = (name, topic) => spawnSync("mosquitto_pub", ["-h", "127.0.0.1", "-p", String(guarded.port), ...login(name),
            "-q", "1", "-t", topic, "-m", "forged"]);
        say("mixer", "acme/leipzig/hall3/pump/values");
        say("historian", "acme/leipzig/hall3/mixer/values");
        say("pump", "acme/leipzig/hall3/pump/values");
        await historian.line(/^acme\/leipzig\/hall3\/pump\/values forged$/);
        assert.equal(historian.lines().filter((line) => line.endsWith(" forged")).length, 1);
        await gateway.stop();
        await historian.line(/status .*"ended"/);
        await historian.stop();
    });

    test("in InfluxDB's line protocol each line has PLC, tag, value, state and time", async () => {
        const lines = broker.subscribe("-t", "acme/+/+/+/values", "-q", "1");
        await publish({format: "influx"});
        const line = await lines.line(/Main\.setpoint/);
        assert.match(line, /^ac500,plc=mixer,tag=Main\.setpoint (\w+=("[^"]*"|[\d.eE+-]+i?|true|false),)+\w+=("[^"]*"|[\d.eE+-]+i?|true|false) \d{19}$/);
        assert.match(line, / float=21\.5,/);
        assert.match(line, /,state="fresh",/);
        await gateway.stop();
        await lines.stop();
    });

    const telegraf = spawnSync("telegraf", ["--version"]).status === 0;
    test("Telegraf takes values by its MQTT input", {skip: telegraf ? false : "telegraf is not installed, and no package of Debian 12"}, async () => {
        const settings = fs.readFileSync(path.join(ROOT, "examples/broker/telegraf.conf"), "utf8").replace(":1883", `:${broker.port}`);
        const file = path.join(folder, "telegraf.conf");
        fs.writeFileSync(file, settings.replace("[agent]", "[agent]\n  flush_interval = \"1s\""));
        const taken = new Listening("telegraf", ["--config", file]);
        await publish({format: "influx"});
        await taken.line(/^ac500,.*tag=Main\.setpoint.*.*float=21\.5/);
        await gateway.stop();
        await taken.stop();
    });
});
