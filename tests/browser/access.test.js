// Without a mouse, without colours, with a screen reader.
import assert from "node:assert/strict";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, PHONE, picture, rowOf, search, show, violations, waitForRow, waitForText} from "./support/browser.js";
import {pause, startGateway, startSimulator, stopAll} from "./support/programs.js";

describe("access", () => {
    let browser;
    let simulator;
    let gateway;

    before(async () => {
        browser = await launch();
        simulator = await startSimulator();
        gateway = await startGateway(simulator.port, {trend: {tags: ["Main.*", "Intake.**"]}});
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    const focused = (page) => page.evaluate(() => document.activeElement.getAttribute("aria-label") ?? (document.activeElement.id || document.activeElement.textContent));

    for (const scheme of ["light", "dark"]) {
        test(`axe finds nothing in any view, ${scheme}`, async () => {
            const page = await openPage(browser, gateway.address, {scheme});
            await search(page, "Main.");
            await waitForRow(page, "Main.setpoint", {state: "fresh"});
            assert.deepEqual(await violations(page), []);
            await page.evaluate(() => sessionStorage.setItem("trend", JSON.stringify(["Main.throughput"])));
            await page.reload();
            for (const view of ["trend", "connection", "plan", "events"]) {
                await show(page, view);
                await page.waitForFunction((name) => document.querySelector(`#view-${name}`).querySelectorAll(".chart canvas, #timeline rect, img:not([hidden]), #event-rows tr").length > 0, {}, view);
                assert.deepEqual(await violations(page), [], view);
            }
        });
    }

    test("axe finds nothing on a phone", async () => {
        const page = await openPage(browser, gateway.address, {viewport: PHONE});
        await search(page, "Main.");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        assert.deepEqual(await violations(page), []);
    });

    test("everything can be reached and used by the keyboard alone", async () => {
        const page = await openPage(browser, gateway.address);
        await waitForText(page, "#value-count", "tags");
        const walked = [];
        const walkTo = async (wanted) => {
            for (let step = 0; step < 40; ++step) {
                await page.keyboard.press("Tab");
                const name = await focused(page);
                walked.push(name);
                if (name === wanted) {
                    return;
                }
            }
            assert.fail(`${wanted} is not reached: ${walked.join(", ")}`);
        };
        await walkTo("To the content");
        await walkTo("search");
        await page.keyboard.type("main.throughput");
        await waitForRow(page, "Main.throughput", {state: "fresh"});
        await walkTo("Trend of Main.throughput");
        await page.keyboard.press("Enter");
        assert.equal(await page.$eval('[aria-label="Trend of Main.throughput"]', (button) => button.getAttribute("aria-pressed")), "true");
        await page.focus("#to-values");
        await walkTo("to-trend");
        await page.keyboard.press("Enter");
        await waitForText(page, ".chart-note", "least");
        await walkTo("trend-in");
        await page.keyboard.press("Space");
        await waitForText(page, "#trend-state", "Stands still");
    });

    test("the keyboard walks through all rows, and the focus is never lost on the way", async () => {
        const page = await openPage(browser, gateway.address);
        await waitForText(page, "#value-count", "tags");
        await page.focus("#value-viewport");
        for (let press = 0; press < 4; ++press) {
            const before = await page.$eval("#value-viewport", (viewport) => viewport.scrollTop);
            await page.keyboard.press("PageDown");
            await page.waitForFunction((top) => document.querySelector("#value-viewport").scrollTop > top + 100, {polling: 50}, before);
        }
        assert.equal(await focused(page), "Table of values");
        // From button to button, further than what is drawn at once.
        await page.select("#scope", "Intake");
        await page.waitForFunction(() => document.querySelector('#value-rows button[aria-label^="Trend"]'));
        await page.focus('#value-rows button[aria-label^="Trend"]');
        for (let press = 0; press < 30; ++press) {
            await page.keyboard.press("Tab");
            await pause(20);
            assert.match(await focused(page), /^Trend of /, `after ${press + 1} steps`);
        }
        assert.equal(new Set(await page.evaluate(() => [...document.querySelectorAll("#value-rows .row")].map((row) => Number(row.getAttribute("aria-rowindex"))).map((index, at, all) => at === 0 || index > all[at - 1]))).size, 1);
    });

    test("states differ without colours: by word, symbol and pattern", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "Main.");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        await page.emulateVisionDeficiency("achromatopsia");
        const looks = await page.evaluate(async () => {
            const {lookOf} = await import("/assets/tag_states.js");
            const row = document.querySelector('[data-tag="Main.setpoint"]').cloneNode(true);
            document.querySelector("#value-rows").append(row);
            const made = ["fresh", "stale", "suspect", "never received", "write pending", "write failed"].map((state) => {
                const look = lookOf({state}, true);
                row.className = `row ${look.pattern}`;
                const {backgroundImage, width} = getComputedStyle(row.querySelector(".value-text"), "::before");
                const shapes = document.querySelector(`#symbol-${look.symbol}`).innerHTML;
                // Without what only tells colours apart.
                return {text: look.text, pattern: `${width} ${backgroundImage.replace(/rgba?\([^)]*\)/g, "ink")}`, shapes};
            });
            row.remove();
            return made;
        });
        for (const part of ["text", "pattern", "shapes"]) {
            assert.equal(new Set(looks.map((look) => look[part])).size, 6, `${part}: ${looks.map((look) => look[part]).join(" | ")}`);
        }
        assert.deepEqual((await rowOf(page, "Main.setpoint")).pattern, "state-fresh");
        await picture(page, "grey");
    });
});
