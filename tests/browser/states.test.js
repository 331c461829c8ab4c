// States that a healthy plant never shows: a write that is underway, another program in the PLC, a clock that is set.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, picture, rowOf, search, show, signIn, textOf, waitForRow, waitForText} from "./support/browser.js";
import {eventually, faked, makeToken, newFolder, pause, startGateway, startSimulator, stopAll} from "./support/programs.js";

const guarded = (number, at) => JSON.stringify({
    format: "ac500-symbols",
    version: 1,
    areas: [{number: 1, bytes: 256}],
    guard: [{tag: "Main.program", value: 7}],
    scopes: [{name: "Main", variables: [
        {name: "level", type: "INT", area: 1, offset: at},
        {name: "program", type: "UDINT", area: 1, offset: 12},
    ]}],
    simulation: {initial: [{tag: "Main.program", value: number}, {tag: "Main.level", value: 10 * number}]},
});

describe("states", () => {
    let browser;

    before(async () => {
        browser = await launch();
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    async function openWriter(gateway, token, tag) {
        const page = await openPage(browser, gateway.address);
        await signIn(page, token);
        await waitForText(page, "#viewer", "may write");
        await search(page, tag);
        await waitForRow(page, tag, {state: "fresh"});
        return page;
    }

    test("a write that the PLC has not answered is shown as pending, to everybody, until it has", async () => {
        const simulator = await startSimulator({faults: ["delay:ms=1500,service=write"]});
        const folder = newFolder();
        const token = makeToken(folder, "anna", "write");
        const gateway = await startGateway(simulator.port, {folder, tokens: "tokens", write: {tags: ["Main.setpoint"]}});
        const page = await openWriter(gateway, token, "Main.setpoint");
        const reader = await openPage(browser, gateway.address);
        await search(reader, "Main.setpoint");
        await waitForRow(reader, "Main.setpoint", {state: "fresh", value: "100"});
        await page.click('[aria-label="Write Main.setpoint"]');
        await page.type("#write-text", "70");
        await waitForText(page, "#write-parsed", "Is read as");
        await page.click("#write-review");
        await page.click("#write-now");
        await waitForRow(reader, "Main.setpoint", {state: "write pending", value: "100"});
        const {symbol, pattern} = await rowOf(reader, "Main.setpoint");
        assert.equal(symbol, "#symbol-pending");
        assert.equal(pattern, "state-pending");
        await waitForText(page, "#write-outcome", "Done");
        await waitForRow(reader, "Main.setpoint", {state: "fresh", value: "70"});
        assert.deepEqual(reader.complaints, []);
    });

    test("another program makes values suspect, shows on the time line, and locks writing until ours is back", async () => {
        const folder = newFolder();
        const [ours, theirs] = [[7, 4], [8, 8]].map(([number, at]) => {
            const file = path.join(folder, `program${number}.json`);
            fs.writeFileSync(file, guarded(number, at));
            return file;
        });
        const token = makeToken(folder, "anna", "write");
        const simulator = await startSimulator({symbols: ours, other: ["--load", theirs, "--at", "6"]});
        const gateway = await startGateway(simulator.port, {folder, tokens: "tokens", symbols: ours, tags: ["Main"], write: {tags: ["Main.level"]}});
        const page = await openWriter(gateway, token, "Main.level");
        await page.click('[aria-label="Write Main.level"]');
        await page.type("#write-text", "5");
        await waitForText(page, "#write-parsed", "Is read as");
        await page.click("#write-review");
        await page.waitForFunction(() => document.querySelector("#write-now").disabled, {timeout: 10000});
        await page.keyboard.press("Escape");
        await waitForRow(page, "Main.level", {state: "suspect"});
        const {symbol, pattern} = await rowOf(page, "Main.level");
        assert.equal(symbol, "#symbol-suspect");
        assert.equal(pattern, "state-suspect");
        await waitForText(page, "#session-text", "PLC: other program");
        await picture(page, "other-program");
        await show(page, "connection");
        await page.waitForFunction(() => document.querySelector("#timeline").textContent.includes("other program"));
        assert.deepEqual(page.complaints, []);
    });

    test("the gateway's clock may be set: values stay fresh, ages right, and times are those of the new clock", async () => {
        const simulator = await startSimulator();
        const folder = newFolder();
        const clock = path.join(folder, "clock");
        const set = (offset) => {
            fs.writeFileSync(`${clock}.new`, `${offset}\n`);
            fs.renameSync(`${clock}.new`, clock);
        };
        set("+0");
        const gateway = await startGateway(simulator.port, {folder, trend: {tags: ["Main.throughput"]}, environment: faked(clock)});
        const now = async () => Date.parse((await (await fetch(`${gateway.address}/api/timeline`)).json()).utc);
        const page = await openPage(browser, gateway.address);
        await search(page, "Main.");
        await waitForRow(page, "Main.setpoint", {state: "fresh", value: "100"});
        for (const [offset, hours] of [["+3h", 3], ["-2d", -48]]) {
            set(offset);
            await eventually(async () => Math.abs(await now() - Date.now() - hours * 3600000) < 60000, 10000, `the clock is not ${offset}`);
            const before = await rowOf(page, "Main.throughput");
            await page.waitForFunction((old) => document.querySelector('[data-tag="Main.throughput"] .value-text').textContent !== old, {timeout: 10000}, before.value);
            for (let look = 0; look < 10; ++look) {
                await pause(100);
                const {state, age} = await rowOf(page, "Main.setpoint");
                assert.equal(state, "fresh");
                assert.match(age, /^[0-2]\.\d s$/);
            }
        }
        await show(page, "connection");
        await page.waitForFunction(() => document.querySelectorAll("#timeline rect").length > 0);
        assert.match(await textOf(page, "#session-text"), /^PLC: up for [0-9.]+ s, /);
        assert.deepEqual(page.complaints, []);
    });
});
