// mosquitto on a port of its own, and programs that subscribe to it. stopAll() ends what was started.
import {spawn, spawnSync} from "node:child_process";
import fs from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";

import {eventually, freePort} from "../browser/support/programs.js";

const folders = [];
const running = new Set();

// A process whose lines are kept.
export class Listening {
    constructor(command, args, options = {}) {
        this.said = "";
        this.complained = "";
        this.process = spawn(command, args, {stdio: ["ignore", "pipe", "pipe"], ...options});
        this.process.stdout.setEncoding("utf8").on("data", (text) => {
            this.said += text;
        });
        this.process.stderr.setEncoding("utf8").on("data", (text) => {
            this.complained += text;
        });
        running.add(this);
        this.ended = new Promise((done) => this.process.once("close", (code) => {
            running.delete(this);
            done(code);
        }).once("error", done));
    }

    lines() {
        return this.said.split("\n").slice(0, -1);
    }

    // The first line that matches, beyond so many.
    line(pattern, {after = 0, limit = 30000} = {}) {
        return eventually(() => this.lines().slice(after).find((line) => pattern.test(line)), limit,
            `${pattern} does not come; there is ${this.said.slice(-2000)}${this.complained.slice(-2000)}`);
    }

    stop(signal = "SIGTERM") {
        this.process.kill(signal);
        return this.ended;
    }
}

export class Broker {
    // `users`: name to password; with them nobody else is let in, and `rights` is the file that says what they may.
    static async start({users, rights} = {}) {
        const broker = new Broker();
        broker.folder = fs.mkdtempSync(path.join(os.tmpdir(), "ac500-broker-"));
        folders.push(broker.folder);
        broker.port = await freePort();
        const kept = path.join(broker.folder, "kept");
        fs.mkdirSync(kept);
        fs.chmodSync(broker.folder, 0o755);
        if (process.getuid() === 0) {
            spawnSync("chown", ["mosquitto", kept]);
        }
        const access = users ? `password_file ${broker.folder}/passwords\nacl_file ${broker.folder}/rights` : "allow_anonymous true";
        fs.writeFileSync(path.join(broker.folder, "mosquitto.conf"),
            `listener ${broker.port} 127.0.0.1\n${access}\npersistence true\npersistence_location ${kept}/\n`);
        if (users) {
            fs.writeFileSync(path.join(broker.folder, "rights"), rights);
            fs.writeFileSync(path.join(broker.folder, "passwords"), "", {mode: 0o600});
            for (const [name, password] of Object.entries(users)) {
                spawnSync("mosquitto_passwd", ["-b", path.join(broker.folder, "passwords"), name, password]);
            }
            fs.chmodSync(path.join(broker.folder, "passwords"), 0o644);
        }
        await broker.begin();
        return broker;
    }

    get url() {
        return `mqtt://127.0.0.1:${this.port}`;
    }

    async begin() {
        this.program = new Listening("mosquitto", ["-c", path.join(this.folder, "mosquitto.conf")]);
        await eventually(() => new Promise((answer) => {
            const socket = net.connect(this.port, "127.0.0.1");
            socket.once("connect", () => answer(true)).once("error", () => answer(false));
            socket.once("connect", () => socket.destroy());
        }), 15000, `mosquitto does not listen: ${this.program.complained}`);
    }

    stop() {
        return this.program.stop();
    }

    subscribe(...args) {
        return new Listening("mosquitto_sub", ["-h", "127.0.0.1", "-p", String(this.port), ...args]);
    }
}

export async function stopListening() {
    await Promise.all([...running].map((each) => each.stop("SIGKILL")));
    folders.forEach((folder) => fs.rmSync(folder, {recursive: true, force: true}));
}
