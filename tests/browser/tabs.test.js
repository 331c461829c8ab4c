// Tabs that are hidden, frozen, woken, and many.
import assert from "node:assert/strict";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, prepare, search, waitForRow, waitForText} from "./support/browser.js";
import {eventually, pause, startGateway, startSimulator, stopAll} from "./support/programs.js";

describe("tabs", () => {
    let browser;
    let simulator;
    let gateway;

    before(async () => {
        browser = await launch();
        simulator = await startSimulator();
        gateway = await startGateway(simulator.port);
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    // Streams that the page has open now.
    async function countStreams(page) {
        const session = await page.createCDPSession();
        const open = new Set();
        await session.send("Network.enable");
        session.on("Network.requestWillBeSent", ({requestId, request}) => request.url.endsWith("/api/stream") && open.add(requestId));
        for (const ended of ["Network.loadingFinished", "Network.loadingFailed"]) {
            session.on(ended, ({requestId}) => open.delete(requestId));
        }
        return open;
    }

    // Another tab in front of it, as a person would open one.
    async function cover(page) {
        const other = await page.browserContext().newPage();
        await other.bringToFront();
        await page.waitForFunction(() => document.visibilityState === "hidden", {polling: 50});
        return other;
    }

    test("a hidden tab has no stream, and takes the whole picture when it is shown again", async () => {
        const page = await openPage(browser, "about:blank");
        const open = await countStreams(page);
        await page.goto(gateway.address);
        await search(page, "Main.setpoint");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        assert.equal(open.size, 1);
        await cover(page);
        await eventually(() => open.size === 0);
        await waitForRow(page, "Main.setpoint", {state: "stale"});
        await page.bringToFront();
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        assert.equal(open.size, 1);
    });

    test("a tab that was frozen shows nothing as fresh until it has the whole picture", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "Main.total");
        await waitForRow(page, "Main.total", {state: "fresh"});
        await page.evaluate(() => {
            const state = document.querySelector('[data-tag="Main.total"] .state-text');
            globalThis.seen = [];
            new MutationObserver(() => globalThis.seen.push(state.textContent)).observe(state, {childList: true, characterData: true, subtree: true});
        });
        const session = await page.createCDPSession();
        await session.send("Page.setWebLifecycleState", {state: "frozen"});
        await pause(4000);
        await session.send("Page.setWebLifecycleState", {state: "active"});
        await cover(page);
        await page.bringToFront();
        await waitForRow(page, "Main.total", {state: "fresh"});
        const seen = await page.evaluate(() => globalThis.seen);
        assert.equal(seen[0], "stale");
        assert.equal(seen.at(-1), "fresh");
    });

    test("a page whose timers stood still marks every value stale and asks for the whole picture", async () => {
        const page = await openPage(browser, "about:blank");
        const open = [];
        page.on("request", (request) => request.url().endsWith("/api/stream") && open.push(request.url()));
        await page.goto(gateway.address);
        await search(page, "Main.total");
        await waitForRow(page, "Main.total", {state: "fresh"});
        await page.evaluate(() => {
            const state = document.querySelector('[data-tag="Main.total"] .state-text');
            globalThis.seen = [];
            new MutationObserver(() => globalThis.seen.push(state.textContent)).observe(state, {childList: true, characterData: true, subtree: true});
            const end = performance.now() + 3600;
            while (performance.now() < end) {
                // the whole page stands still
            }
        });
        await page.waitForFunction(() => globalThis.seen.at(-1) === "fresh");
        assert.equal((await page.evaluate(() => globalThis.seen))[0], "stale");
        assert.equal(open.length, 2);
    });

    test("seven tabs of one browser all get values when they are looked at", async () => {
        const first = await openPage(browser, "about:blank");
        const pages = [];
        for (let number = 0; number < 7; ++number) {
            const page = await prepare(await first.browserContext().newPage(), "about:blank");
            await page.goto(gateway.address);
            await search(page, "Main.setpoint");
            await waitForRow(page, "Main.setpoint", {state: "fresh"});
            pages.push(page);
        }
        for (const page of pages) {
            await page.bringToFront();
            await waitForRow(page, "Main.setpoint", {state: "fresh"});
        }
        assert.equal((await Promise.all(pages.map((page) => page.evaluate(() => document.visibilityState)))).filter((state) => state === "visible").length, 1);
    });

    test("a viewer that loads the page anew gets its place again when all are taken, and others still get none", async () => {
        const pages = [];
        for (let number = 0; number < 4; ++number) {
            pages.push(await openPage(browser, gateway.address));
            await pages.at(-1).waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh");
        }
        for (let round = 0; round < 5; ++round) {
            assert.notEqual((await pages[0].reload({waitUntil: "domcontentloaded"})).status(), 503);
            await pages[0].waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh");
        }
        const fifth = await openPage(browser, gateway.address);
        await waitForText(fifth, "h1", "No place is free");
    });

    test("one viewer too many is told so, and comes in when there is room", async () => {
        const pages = [];
        for (let number = 0; number < 4; ++number) {
            pages.push(await openPage(browser, gateway.address));
            await pages.at(-1).waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh");
        }
        const last = await openPage(browser, gateway.address);
        await waitForText(last, "h1", "No place is free");
        await pages[0].goto("about:blank");
        // The gateway has to notice first that the other one is gone.
        await eventually(async () => (await last.reload()).status() === 200);
        await last.waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh", {timeout: 15000});
    });
});
