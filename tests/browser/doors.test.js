// Who is not let in: wrong tokens, pages of other origins, other names for this machine.
import assert from "node:assert/strict";
import http from "node:http";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, search, textOf, waitForRow, waitForText} from "./support/browser.js";
import {freePort, makeToken, newFolder, startGateway, startSimulator, stopAll} from "./support/programs.js";

describe("doors", () => {
    let browser;
    let simulator;
    let gateway;
    let token;

    before(async () => {
        browser = await launch("--host-resolver-rules=MAP rebound.example 127.0.0.1");
        simulator = await startSimulator();
        const folder = newFolder();
        token = makeToken(folder, "anna", "write");
        gateway = await startGateway(simulator.port, {folder, tokens: "tokens", write: {tags: ["Main.setpoint"]}});
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    test("a wrong token is refused with words, and the right one still works", async () => {
        const page = await openPage(browser, gateway.address);
        await page.waitForSelector("#sign-in-open:not([hidden])");
        await page.click("#sign-in-open");
        await page.type("#token", "not-a-token-that-anybody-has");
        await page.click("#sign-in-submit");
        await page.waitForFunction(() => document.querySelector("#sign-in-problem").textContent.length > 10);
        assert.equal(await page.$eval("#token", (field) => field.value), "");
        await page.type("#token", token);
        await page.click("#sign-in-submit");
        await waitForText(page, "#viewer", "anna (may write)");
        const cookies = await page.browserContext().cookies();
        assert.deepEqual(cookies.map((cookie) => [cookie.httpOnly, cookie.sameSite]), [[true, "Strict"], [true, "Strict"]]);
        assert.equal(page.url().includes(token), false);
        assert.equal(await page.evaluate(() => document.cookie), "");
    });

    test("a page of another port can neither read values nor change anything", async () => {
        const server = http.createServer((request, response) => response.setHeader("Content-Type", "text/html").end("<!DOCTYPE html><title>elsewhere</title>"));
        const port = await freePort();
        await new Promise((listening) => server.listen(port, "127.0.0.1", listening));
        const page = await openPage(browser, gateway.address);
        await page.waitForSelector("#sign-in-open:not([hidden])");
        await page.click("#sign-in-open");
        await page.type("#token", token);
        await page.click("#sign-in-submit");
        await waitForText(page, "#viewer", "anna");
        // The same browser, signed in, looks at the other page. The cookie belongs to the host, whatever the port.
        await page.goto(`http://127.0.0.1:${port}/`);
        const answers = await page.evaluate(async (gateway) => {
            const attempt = async (path, options) => {
                try {
                    const answer = await fetch(gateway + path, {credentials: "include", ...options});
                    return answer.type === "opaque" ? "sent blindly" : `read ${answer.status}`;
                } catch {
                    return "refused";
                }
            };
            const write = JSON.stringify({stream: "1", tag: 0, text: "1", old: ["100"], expires_ms: 5000, number: "1"});
            return [
                await attempt("/api/plant", {}),
                await attempt("/api/stream", {}),
                await attempt("/api/write", {method: "POST", headers: {"Content-Type": "application/json"}, body: write}),
                await attempt("/api/sign-out", {method: "POST", headers: {"Content-Type": "application/json"}, body: "{}"}),
            ];
        }, gateway.address);
        assert.deepEqual(answers, ["refused", "refused", "refused", "refused"]);
        // A blind request without preflight goes out, and must change nothing: the viewer is still signed in.
        await page.evaluate((gateway) => fetch(`${gateway}/api/sign-out`, {method: "POST", mode: "no-cors", credentials: "include", body: "{}"}).catch(() => {}), gateway.address);
        await page.goto(gateway.address);
        await waitForText(page, "#viewer", "anna (may write)");
        await search(page, "Main.setpoint");
        await waitForRow(page, "Main.setpoint", {value: "100"});
        await new Promise((closed) => server.close(closed));
    });

    test("the page cannot be framed", async () => {
        const server = http.createServer((request, response) => response.setHeader("Content-Type", "text/html").end(`<!DOCTYPE html><title>frame</title><iframe src="${gateway.address}"></iframe>`));
        const port = await freePort();
        await new Promise((listening) => server.listen(port, "127.0.0.1", listening));
        const page = await openPage(browser, `http://127.0.0.1:${port}/`);
        await page.waitForSelector("iframe");
        const frame = await (await page.$("iframe")).contentFrame();
        await new Promise((done) => setTimeout(done, 500));
        assert.equal(await frame.evaluate(() => document.querySelector("#plant-name") === null).catch(() => true), true);
        await page.close();
        await new Promise((closed) => server.close(closed));
    });

    test("another name that leads to this machine is not let in", async () => {
        const page = await openPage(browser, "about:blank");
        const answer = await page.goto(`http://rebound.example:${gateway.port}/`);
        assert.ok(answer.status() >= 400, String(answer.status()));
        const api = await page.evaluate(async () => {
            const answers = await Promise.all(["/api/plant", "/api/stream", "/metrics"].map((path) => fetch(path)));
            return answers.map(({status}) => status);
        });
        assert.ok(api.every((status) => status >= 400), String(api));
    });
});
