// Each view, against a simulated PLC; what a view shows is compared with what the simulated plant has.
import assert from "node:assert/strict";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, DESKTOP, isWiderThanScreen, launch, openPage, PHONE, picture, rowOf, search, show, textOf, waitForRow, waitForText} from "./support/browser.js";
import {eventually, newFolder, pause, startGateway, startSimulator, stopAll} from "./support/programs.js";
import {writeLargeSymbols} from "./support/large_symbols.js";

describe("the views", () => {
    let browser;
    let simulator;
    let gateway;

    before(async () => {
        browser = await launch();
        simulator = await startSimulator();
        gateway = await startGateway(simulator.port, {trend: {tags: ["Main.throughput", "Intake.wells[1].motor.current", "Main.load"]}});
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    test("values are shown with unit, state and age, by scope, and follow the PLC", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "main");
        await waitForRow(page, "Main.setpoint", {state: "fresh", value: "100"});
        const {age, symbol, pattern} = await rowOf(page, "Main.setpoint");
        assert.match(age, /^\d\.\d s$/);
        assert.equal(symbol, "#symbol-fresh");
        assert.equal(pattern, "state-fresh");
        const first = (await rowOf(page, "Main.throughput")).value;
        await page.waitForFunction((old) => document.querySelector('[data-tag="Main.throughput"] .value-text').textContent !== old, {}, first);
        assert.equal(await textOf(page, "#plant-name"), "Waterworks");
        await waitForText(page, "#session-text", "PLC: up for");
        assert.match(await textOf(page, "#session-text"), /^PLC: up for .+, the last pass took .+s$/);
        assert.deepEqual(page.complaints, []);
    });

    test("tags are found by words of their names and comments, and chosen by scope", async () => {
        const page = await openPage(browser, gateway.address);
        await waitForText(page, "#value-count", "tags");
        await search(page, "throughput PLANT");
        await waitForText(page, "#value-count", "1 of");
        assert.ok(await rowOf(page, "Main.setpoint"));
        await search(page, "no such thing");
        await waitForText(page, "#no-values", "No tag has all these words");
        await search(page, " ");
        await page.select("#scope", "Intake");
        await page.waitForFunction(() => document.querySelectorAll(".scope-row").length === 1);
        assert.match(await textOf(page, ".scope-row"), /^Intake \d+ tags$/);
        assert.equal(await rowOf(page, "Main.setpoint"), null);
    });

    test("what is typed before the gateway has told its tags is looked for once it has", async () => {
        const page = await openPage(browser, "about:blank");
        await page.setRequestInterception(true);
        const asked = new Promise((resolve) => {
            page.on("request", (request) => (request.url().endsWith("/api/plant") ? resolve(request) : request.continue()));
        });
        await page.goto(gateway.address, {waitUntil: "domcontentloaded"});
        const question = await asked;
        await search(page, "Main.setpoint");
        await question.continue();
        await waitForRow(page, "Main.setpoint", {state: "fresh", value: "100"});
        assert.equal(await textOf(page, "#value-count").then((text) => text.startsWith("1 of")), true);
        assert.deepEqual(page.complaints, []);
    });

    test("sparklines follow values that change", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "main.throughput");
        await page.waitForFunction(() => (document.querySelector('[data-tag="Main.throughput"] .sparkline')?.getAttribute("d") ?? "").split("V").length > 3, {timeout: 15000});
    });

    test("a trend follows the present, stands still when zoomed, and gives its raw samples in UTC", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "main.throughput");
        await page.waitForSelector('[aria-label="Trend of Main.throughput"]');
        await page.click('[aria-label="Trend of Main.throughput"]');
        await show(page, "trend");
        await waitForText(page, "#trend-state", "Follows the present");
        await waitForText(page, "#trend-oldest", "Kept since");
        await waitForText(page, ".chart-note", "least");
        const [, least, largest] = /least (\S+), largest (\S+)/.exec(await textOf(page, ".chart-note"));
        assert.ok(Number(least) >= 80 && Number(largest) <= 120, `${least} to ${largest}`);
        await page.click("#trend-in");
        await waitForText(page, "#trend-state", "Stands still");
        const still = await textOf(page, "#trend-state");
        const drawn = await page.$eval(".chart canvas", (canvas) => canvas.toDataURL());
        await pause(2500);
        assert.equal(await textOf(page, "#trend-state"), still);
        assert.equal(await page.$eval(".chart canvas", (canvas) => canvas.toDataURL()), drawn);
        const csv = await page.evaluate(async () => (await fetch(document.querySelector("a[download]").href)).text());
        assert.match(csv, /^\S*utc\S*/i);
        assert.match(csv, /\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d+Z/);
        assert.match(csv, /,good\r\n/);
        await page.click("#trend-follow");
        await waitForText(page, "#trend-state", "Follows the present");
        assert.deepEqual(page.complaints, []);
    });

    test("dragging over a chart zooms, and freezes it", async () => {
        const page = await openPage(browser, gateway.address);
        await page.evaluate(() => sessionStorage.setItem("trend", JSON.stringify(["Main.throughput", "Main.load"])));
        await page.goto(`${gateway.address}/#trend`);
        await page.reload();
        await page.waitForSelector(".chart canvas");
        await waitForText(page, ".chart-note", "least");
        const {x, y, width, height} = await (await page.$(".chart")).boundingBox();
        await page.mouse.move(x + width * 0.4, y + height / 2);
        await page.mouse.down();
        await page.mouse.move(x + width * 0.6, y + height / 2, {steps: 5});
        await page.mouse.up();
        await waitForText(page, "#trend-state", "Stands still");
        assert.equal((await page.$$(".chart canvas")).length >= 2, true);
        assert.deepEqual(page.complaints, []);
    });

    test("the connection's life and its latencies are shown", async () => {
        const page = await openPage(browser, gateway.address);
        await show(page, "connection");
        await page.waitForSelector("#timeline .span-up");
        await waitForText(page, "#timeline-rows", "up");
        await page.waitForSelector("#latency .bar");
        assert.match(await textOf(page, "#latency figcaption"), /half within/);
        assert.match(await page.$eval("#timeline", (line) => line.getAttribute("aria-label")), /up for/);
        assert.deepEqual(page.complaints, []);
    });

    test("the plan's picture and the events are shown", async () => {
        const page = await openPage(browser, gateway.address);
        await show(page, "plan");
        await page.waitForFunction(() => document.querySelector("#plan").naturalWidth > 500);
        await show(page, "events");
        await page.waitForSelector("#event-rows tr");
        assert.match(await textOf(page, "#event-count"), /event/);
        await page.type("#event-search", "no such event");
        await page.waitForFunction(() => document.querySelectorAll("#event-rows tr").length === 0);
        assert.deepEqual(page.complaints, []);
    });

    test("of 5,000 tags only what is seen exists and is watched, however far it is scrolled", async () => {
        const folder = newFolder();
        const symbols = writeLargeSymbols(folder, 5000);
        const large = await startSimulator({symbols});
        const plant = await startGateway(large.port, {symbols, tags: ["Large.*"]});
        const page = await openPage(browser, "about:blank");
        const watched = [];
        page.on("request", (request) => request.url().endsWith("/api/watch") && watched.push(JSON.parse(request.postData()).tags));
        await page.goto(plant.address);
        await waitForText(page, "#value-count", "5,000 tags");
        await page.waitForFunction(() => document.querySelector(".state-text")?.textContent === "fresh");
        for (const part of [0.13, 0.5, 0.87, 1]) {
            await page.$eval("#value-viewport", (viewport, to) => {
                viewport.scrollTop = to * viewport.scrollHeight;
            }, part);
            await eventually(() => page.evaluate(() => {
                const {top, bottom} = document.querySelector("#value-viewport").getBoundingClientRect();
                const seen = [...document.querySelectorAll("#value-rows [data-tag]")].filter((row) => row.getBoundingClientRect().bottom > top + 40 && row.getBoundingClientRect().top < bottom);
                return seen.length >= 10 && seen.every((row) => row.querySelector(".state-text").textContent === "fresh");
            }), 10000, `at ${part} of the rows not everything is fresh`);
            assert.ok((await page.$$("#value-rows .row")).length < 60);
        }
        assert.ok(await rowOf(page, "Large.value_4999"));
        assert.ok(watched.every((tags) => tags.length < 60), "no more is watched than what is seen");
        assert.deepEqual(page.complaints, []);
        await plant.stop();
        await large.stop();
    });

    test("a phone's width needs no sideways scrolling in any view", async () => {
        const page = await openPage(browser, gateway.address, {viewport: PHONE});
        await search(page, "main");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        for (const view of ["values", "trend", "connection", "plan", "events"]) {
            await show(page, view);
            await pause(200);
            assert.equal(await isWiderThanScreen(page), false, view);
        }
    });

    test("on a phone the row of a scope is no higher than its text needs, and each row follows the one above", async () => {
        const page = await openPage(browser, gateway.address, {viewport: PHONE});
        await search(page, "main");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        const {frame, rows} = await page.evaluate(() => {
            const edges = (shown) => ({top: shown.getBoundingClientRect().top, bottom: shown.getBoundingClientRect().bottom});
            return {
                frame: edges(document.querySelector("#value-viewport")),
                rows: [...document.querySelectorAll("#value-rows .row")].map((row) => ({...edges(row), cell: edges(row.querySelector(".cell"))})),
            };
        });
        assert.ok(rows.length > 4);
        const [scope] = rows;
        assert.ok(scope.cell.top - frame.top < 16, `${scope.cell.top - frame.top} pixels above the first row`);
        assert.ok(scope.bottom - scope.cell.bottom < 16, `${scope.bottom - scope.cell.bottom} pixels below it`);
        for (const [at, {top, cell}] of rows.entries()) {
            assert.ok(at === 0 || Math.abs(top - rows[at - 1].bottom) < 1, `row ${at} follows the one above`);
            assert.ok(cell.top >= top, `row ${at} has room for its text`);
        }
    });

    test("at 200 % zoom nothing is cut off", async () => {
        // A browser at 200 % has half as many units of the style sheet.
        const page = await openPage(browser, gateway.address, {viewport: {width: 500, height: 320, deviceScaleFactor: 2}});
        await search(page, "main");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        for (const view of ["trend", "connection", "plan", "events", "values"]) {
            await show(page, view);
            assert.equal(await isWiderThanScreen(page), false, view);
        }
        const cut = await page.$$eval('[data-tag="Main.setpoint"] .cell', (cells) => cells.filter((cell) => cell.scrollHeight > cell.clientHeight + 4).map((cell) => cell.className));
        assert.deepEqual(cut, []);
    });

    test("pictures for the documents", async () => {
        const page = await openPage(browser, gateway.address, {viewport: DESKTOP});
        await search(page, "Main");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        await page.evaluate(() => sessionStorage.setItem("trend", JSON.stringify(["Main.throughput", "Intake.wells[1].motor.current"])));
        await page.reload();
        await waitForText(page, "#value-count", "tags");
        await page.select("#scope", "Main");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        await picture(page, "values");
        await show(page, "trend");
        await waitForText(page, ".chart-note", "least");
        await pause(500);
        await picture(page, "trend");
        await show(page, "connection");
        await page.waitForSelector("#latency .bar");
        await picture(page, "connection");
        await show(page, "events");
        await page.waitForSelector("#event-rows tr");
        await picture(page, "events");
        const phone = await openPage(browser, gateway.address, {viewport: PHONE, scheme: "dark"});
        await waitForText(phone, "#value-count", "tags");
        await phone.select("#scope", "Main");
        await waitForRow(phone, "Main.setpoint", {state: "fresh"});
        await picture(phone, "phone");
    });
});
