// The simulated PLC and the gateway as processes, with settings in a folder of their own. Ports are picked free ones; what
// was started is ended by stopAll().
import {spawn, spawnSync} from "node:child_process";
import fs from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import {fileURLToPath} from "node:url";

export const ROOT = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../../..");
const BIN = process.env.AC500_BIN ?? path.join(ROOT, "build/release/bin");
const START_LIMIT_MS = 15000;

const started = new Set();

export async function freePort() {
    const server = net.createServer();
    await new Promise((listening) => server.listen(0, "127.0.0.1", listening));
    const {port} = server.address();
    await new Promise((closed) => server.close(closed));
    return port;
}

export const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

export async function eventually(what, limit = START_LIMIT_MS, words = "it did not come about") {
    const end = Date.now() + limit;
    for (;;) {
        const answer = await what();
        if (answer) {
            return answer;
        }
        if (Date.now() > end) {
            throw new Error(words);
        }
        await pause(50);
    }
}

function canConnect(port) {
    return new Promise((answer) => {
        const socket = net.connect(port, "127.0.0.1");
        socket.once("connect", () => answer(true)).once("error", () => answer(false));
        socket.once("connect", () => socket.destroy());
    });
}

class Program {
    constructor(name, args, port, environment = {}) {
        this.name = name;
        this.args = args;
        this.port = port;
        this.environment = environment;
        this.process = null;
        this.said = "";
    }

    async start() {
        this.process = spawn(path.join(BIN, this.name), this.args, {stdio: ["ignore", "pipe", "pipe"], env: {...process.env, ...this.environment}});
        started.add(this);
        const hear = (text) => {
            this.said += text;
        };
        this.process.stdout.setEncoding("utf8").on("data", hear);
        this.process.stderr.setEncoding("utf8").on("data", hear);
        this.ended = new Promise((done) => this.process.once("exit", done).once("error", done));
        await eventually(() => {
            if (this.process.exitCode !== null) {
                throw new Error(`${this.name} ended with ${this.process.exitCode}: ${this.said}`);
            }
            return canConnect(this.port);
        }, START_LIMIT_MS, `${this.name} does not listen: ${this.said}`);
        return this;
    }

    async stop(signal = "SIGTERM") {
        this.process.kill(signal);
        await this.ended;
        started.delete(this);
    }
}

export async function stopAll() {
    await Promise.all([...started].map((program) => program.stop("SIGKILL")));
    for (const folder of folders) {
        fs.rmSync(folder, {recursive: true, force: true});
    }
}

const folders = [];

export function newFolder() {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), "ac500-browser-"));
    folders.push(folder);
    return folder;
}

export async function startSimulator({port, symbols = path.join(ROOT, "examples/plant.json"), faults = [], other = []} = {}) {
    const chosen = port ?? await freePort();
    const rules = faults.flatMap((rule) => ["--fault", rule]);
    return new Program("ac500-sim", ["--symbols", symbols, "--port", String(chosen), "--quiet", ...rules, ...other], chosen).start();
}

// Variables by which a program's clock can be set while it runs: to what `file` says, "+3h". The monotonic clock stays.
export function faked(file) {
    const [folder] = fs.readdirSync("/usr/lib").filter((name) => fs.existsSync(`/usr/lib/${name}/faketime/libfaketime.so.1`));
    return {
        LD_PRELOAD: `/usr/lib/${folder}/faketime/libfaketime.so.1`,
        FAKETIME_TIMESTAMP_FILE: file,
        FAKETIME_NO_CACHE: "1",
        FAKETIME_DONT_FAKE_MONOTONIC: "1",
    };
}

// A token in clear; its line is added to the file.
export function makeToken(folder, name, right) {
    const made = spawnSync(path.join(BIN, "ac500-gateway"), ["token", name, right], {encoding: "utf8"});
    if (made.status !== 0) {
        throw new Error(`ac500-gateway token: ${made.stderr}`);
    }
    const [line] = /^\S+ (view|write) \S+$/m.exec(made.stdout);
    const [token] = new RegExp(`^${name}\\.\\w+$`, "m").exec(made.stdout);
    fs.appendFileSync(path.join(folder, "tokens"), `${line}\n`, {mode: 0o600});
    return token;
}

// `settings` are laid over what every test wants. The gateway has address, folder, stop() and start().
export async function startGateway(plcPort, {folder = newFolder(), port, environment = {}, ...settings} = {}) {
    const chosen = port ?? await freePort();
    const {page = {}, ...others} = settings;
    const file = path.join(folder, "gateway.json");
    fs.writeFileSync(file, JSON.stringify({
        name: "Waterworks",
        plc: `127.0.0.1:${plcPort}`,
        symbols: path.join(ROOT, "examples/plant.json"),
        driver: path.join(BIN, "../lib/libac500driver.so"),
        cycle: 100,
        tags: ["Main.*", "Intake.**", "Dosing.**"],
        page: {listen: `127.0.0.1:${chosen}`, ...page},
        ...others,
    }, null, 2));
    const gateway = new Program("ac500-gateway", [file], chosen, environment);
    gateway.folder = folder;
    gateway.address = `http://127.0.0.1:${chosen}`;
    return gateway.start();
}

// Between browser and gateway; can fall silent without closing anything, as a network does.
export async function startLine(port, ownPort = 0) {
    const server = net.createServer();
    const sockets = new Set();
    const line = {isSilent: false};
    server.on("connection", (near) => {
        const far = net.connect(port, "127.0.0.1");
        for (const [from, to] of [[near, far], [far, near]]) {
            sockets.add(from);
            from.on("data", (bytes) => line.isSilent || to.write(bytes));
            from.on("error", () => to.destroy());
            from.on("close", () => {
                sockets.delete(from);
                to.destroy();
            });
        }
    });
    await new Promise((listening) => server.listen(ownPort, "127.0.0.1", listening));
    line.port = server.address().port;
    line.address = `http://127.0.0.1:${line.port}`;
    line.stop = () => {
        sockets.forEach((socket) => socket.destroy());
        server.close();
    };
    return line;
}
