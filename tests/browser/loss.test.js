// What the page says when the PLC, the gateway or the network goes away, and when it comes back.
import assert from "node:assert/strict";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, picture, rowOf, search, show, textOf, waitForRow, waitForText} from "./support/browser.js";
import {freePort, pause, startGateway, startLine, startSimulator, stopAll} from "./support/programs.js";

describe("loss and return", () => {
    let browser;
    let simulator;
    let gateway;
    let line;

    before(async () => {
        browser = await launch();
        simulator = await startSimulator();
        const port = await freePort();
        gateway = await startGateway(simulator.port, {page: {hosts: [`127.0.0.1:${port}`]}, trend: {tags: ["Main.throughput"]}});
        line = await startLine(gateway.port, port);
    });

    afterEach(closePages);

    after(async () => {
        line?.stop();
        await browser?.close();
        await stopAll();
    });

    async function openAtSetpoint(address = gateway.address) {
        const page = await openPage(browser, address);
        await search(page, "Main.setpoint");
        await waitForRow(page, "Main.setpoint", {state: "fresh", value: "100"});
        return page;
    }

    test("a lost PLC makes values stale, with symbol and pattern, and they are fresh when it is back", async () => {
        const page = await openAtSetpoint();
        await simulator.stop();
        await waitForRow(page, "Main.setpoint", {state: "stale", value: "100"});
        const {symbol, pattern} = await rowOf(page, "Main.setpoint");
        assert.equal(symbol, "#symbol-stale");
        assert.equal(pattern, "state-stale");
        await page.waitForFunction(() => !document.querySelector("#session-text").textContent.startsWith("PLC: up"));
        await page.waitForFunction(() => document.title.startsWith("! "));
        const {age} = await rowOf(page, "Main.setpoint");
        await pause(2100);
        assert.notEqual((await rowOf(page, "Main.setpoint")).age, age);
        await page.$eval("#search", (field) => {
            field.value = "Main.";
            field.dispatchEvent(new Event("input"));
        });
        await page.waitForFunction(() => [...document.querySelectorAll(".state-text")].every((state) => state.textContent === "stale"));
        await picture(page, "stale");
        simulator = await startSimulator({port: simulator.port});
        await waitForRow(page, "Main.setpoint", {state: "fresh"}, 20000);
        await show(page, "connection");
        await page.waitForFunction(() => new Set([...document.querySelectorAll("#timeline rect")].map((rect) => rect.getAttribute("class"))).size >= 2, {timeout: 10000});
        assert.deepEqual(page.complaints, []);
    });

    test("a gateway that ends makes every value stale, and its page comes back by itself", async () => {
        const page = await openAtSetpoint();
        await gateway.stop();
        await waitForText(page, "#page-state", "Every value is marked stale", 5000);
        await waitForRow(page, "Main.setpoint", {state: "stale", value: "100"});
        await gateway.start();
        await waitForRow(page, "Main.setpoint", {state: "fresh"}, 20000);
        assert.equal(await page.$eval("#page-state", (banner) => banner.hidden), true);
    });

    test("a network that falls silent makes every value stale within four seconds, though no connection broke", async () => {
        const page = await openAtSetpoint(line.address);
        line.isSilent = true;
        const began = Date.now();
        await waitForRow(page, "Main.setpoint", {state: "stale"}, 8000);
        const took = Date.now() - began;
        assert.ok(took > 1500 && took < 4500, `${took} ms`);
        await waitForText(page, "#page-state", "every value is marked stale");
        line.isSilent = false;
        await waitForRow(page, "Main.setpoint", {state: "fresh"}, 10000);
        assert.equal(await textOf(page, "#page-state"), "");
    });

    // Opens the page with its HTML changed by `change`, which gets the text and how often it was loaded; returns the page and
    // a function that counts the loads.
    async function openChanged(change) {
        const page = await openPage(browser, "about:blank");
        let loads = 0;
        await page.setRequestInterception(true);
        page.on("request", async (request) => {
            if (new URL(request.url()).pathname !== "/") {
                request.continue();
                return;
            }
            loads += 1;
            const answer = await fetch(request.url());
            request.respond({contentType: "text/html", body: change(await answer.text(), loads)});
        });
        await page.goto(gateway.address);
        return {page, loads: () => loads};
    }
    const ofAnotherBuild = (text) => text.replace(/name="build" content="\w+"/, 'name="build" content="0000000000000000"');

    test("a page of another build loads itself anew, once", async () => {
        const {page, loads} = await openChanged((text, count) => count === 1 ? ofAnotherBuild(text) : text);
        await page.waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh");
        await pause(500);
        assert.equal(loads(), 2);
    });

    test("a page that stays old says so instead of loading for ever", async () => {
        const {page, loads} = await openChanged(ofAnotherBuild);
        await waitForText(page, "#notification", "older than the gateway");
        assert.equal(loads(), 2);
    });
});
