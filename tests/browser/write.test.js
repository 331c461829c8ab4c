// Writing: what a person types, sees and confirms, and what the PLC holds afterwards.
import assert from "node:assert/strict";
import {after, afterEach, before, describe, test} from "node:test";

import {closePages, launch, openPage, picture, search, show, signIn, textOf, violations, waitForRow, waitForText} from "./support/browser.js";
import {eventually, makeToken, newFolder, pause, startGateway, startSimulator, stopAll} from "./support/programs.js";

describe("writing", () => {
    let browser;
    let simulator;
    let gateway;
    let anna;  // may write
    let bert;  // may look

    before(async () => {
        browser = await launch();
        simulator = await startSimulator();
        const folder = newFolder();
        anna = makeToken(folder, "anna", "write");
        bert = makeToken(folder, "bert", "view");
        gateway = await startGateway(simulator.port, {folder, tokens: "tokens", write: {tags: ["Main.setpoint", "Main.enable", "Main.batch_name", "Main.operating_mode"]}});
    });

    afterEach(closePages);

    after(async () => {
        await browser?.close();
        await stopAll();
    });

    async function openWriter(tag, token = anna) {
        const page = await openPage(browser, gateway.address);
        await signIn(page, token);
        await waitForText(page, "#viewer", "may write");
        await search(page, tag);
        await waitForRow(page, tag, {state: "fresh"});
        await page.click(`[aria-label="Write ${tag}"]`);
        return page;
    }

    const review = async (page, text) => {
        await page.type("#write-text", text);
        await waitForText(page, "#write-parsed", "Is read as");
        await page.click("#write-review");
        await page.waitForSelector("#write-confirm:not([hidden])");
    };

    test("nobody who has not signed in is offered to write, nor who may only look", async () => {
        const page = await openPage(browser, gateway.address);
        await search(page, "Main.setpoint");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        assert.equal(await page.$('[aria-label="Write Main.setpoint"]'), null);
        await signIn(page, bert);
        await waitForText(page, "#viewer", "bert (may look)");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        assert.equal(await page.$('[aria-label="Write Main.setpoint"]'), null);
    });

    test("a write shows old and new, is ordered by its own button, and its outcome comes back", async () => {
        const page = await openWriter("Main.setpoint");
        await review(page, "112,5");
        assert.equal(await textOf(page, "#write-old"), "100");
        assert.equal(await textOf(page, "#write-new"), "112.5");
        assert.equal(await textOf(page, "#write-typed"), "112,5");
        await picture(page, "write");
        assert.deepEqual(await violations(page), []);
        await page.click("#write-now");
        await waitForText(page, "#write-outcome", "Done: the PLC has taken it.");
        await page.click("#write-cancel");
        await waitForRow(page, "Main.setpoint", {state: "fresh", value: "112.5"});
        const reader = await openPage(browser, gateway.address);
        await search(reader, "Main.setpoint");
        await waitForRow(reader, "Main.setpoint", {state: "fresh", value: "112.5"});
        assert.deepEqual(page.complaints, []);
    });

    test("point and comma are both the decimal sign, and what is no number says why", async () => {
        const page = await openWriter("Main.setpoint");
        for (const [typed, read] of [["7.25", "7.25"], ["7,25", "7.25"], ["-0,5", "-0.5"]]) {
            await page.$eval("#write-text", (field) => {
                field.value = "";
            });
            await page.type("#write-text", typed);
            await waitForText(page, "#write-parsed", `Is read as ${read}`);
        }
        await page.type("#write-text", "x");
        await page.waitForFunction(() => document.querySelector("#write-parsed").classList.contains("problem"));
        assert.equal(await page.$eval("#write-review", (button) => button.disabled), true);
    });

    test("Enter in the field leads to the confirmation only, and Enter again writes nothing", async () => {
        const page = await openWriter("Main.setpoint");
        let writes = 0;
        page.on("request", (request) => {
            writes += request.url().endsWith("/api/write") ? 1 : 0;
        });
        await page.type("#write-text", "55");
        await waitForText(page, "#write-parsed", "Is read as 55");
        await page.keyboard.press("Enter");
        await page.waitForSelector("#write-confirm:not([hidden])");
        await page.keyboard.press("Enter");
        await page.keyboard.down("Enter");
        await pause(300);
        await page.keyboard.up("Enter");
        assert.equal(writes, 0);
        assert.equal(await textOf(page, "#write-outcome"), "");
    });

    test("leaving the field and closing the dialog write nothing", async () => {
        const page = await openWriter("Main.operating_mode");
        let writes = 0;
        page.on("request", (request) => {
            writes += request.url().endsWith("/api/write") ? 1 : 0;
        });
        await page.type("#write-text", "3");
        await waitForText(page, "#write-parsed", "Is read as 3");
        await page.focus("#write-cancel");
        await pause(200);
        await page.keyboard.press("Escape");
        await page.waitForSelector("#write:not([open])", {hidden: true});
        assert.equal(writes, 0);
    });

    test("a second press of the button writes once", async () => {
        const page = await openWriter("Main.operating_mode");
        const numbers = [];
        page.on("request", (request) => request.url().endsWith("/api/write") && numbers.push(JSON.parse(request.postData()).number));
        await review(page, "2");
        await page.$eval("#write-now", (button) => {
            button.click();
            button.click();
        });
        await waitForText(page, "#write-outcome", "Done");
        assert.equal(numbers.length, 1);
    });

    test("a value that changed meanwhile locks the confirmation", async () => {
        const first = await openWriter("Main.batch_name");
        const second = await openWriter("Main.batch_name");
        await review(first, "FIRST");
        await review(second, "SECOND");
        await second.click("#write-now");
        await waitForText(second, "#write-outcome", "Done");
        await waitForText(first, "#write-lock", "the value has changed since");
        assert.equal(await first.$eval("#write-now", (button) => button.disabled), true);
    });

    // What the page orders, with something of it replaced on the way.
    async function orderReplacing(page, replaced) {
        await page.setRequestInterception(true);
        page.on("request", (request) => {
            if (request.url().endsWith("/api/write")) {
                request.continue({postData: JSON.stringify({...JSON.parse(request.postData()), ...replaced})});
            } else {
                request.continue();
            }
        });
        await page.click("#write-now");
    }

    test("a write on top of somebody else's is not sent, and the page says what it is now", async () => {
        const page = await openWriter("Main.setpoint");
        await review(page, "60");
        const now = await textOf(page, "#write-old");
        await orderReplacing(page, {old: ["99"]});
        await waitForText(page, "#write-outcome", "Not sent: nothing was written.");
        assert.match(await textOf(page, "#write-outcome"), /99 when you looked, it is 112\.5 now/);
        await picture(page, "not-sent");
        await page.click("#write-cancel");
        await waitForRow(page, "Main.setpoint", {state: "write failed", value: now});
        assert.deepEqual(page.complaints, []);
    });

    test("what the gateway refuses is shown with its words", async () => {
        const page = await openWriter("Main.operating_mode");
        await review(page, "1");
        await orderReplacing(page, {text: "300"});
        await waitForText(page, "#write-outcome", "Refused: nothing was written.");
        assert.match(await textOf(page, "#write-outcome"), /300/);
        await page.click("#write-cancel");
        await waitForRow(page, "Main.operating_mode", {state: "fresh", value: "2"});
    });

    test("a lost PLC locks the dialog, whatever its step", async () => {
        const lone = await startSimulator();
        const folder = newFolder();
        const token = makeToken(folder, "anna", "write");
        const other = await startGateway(lone.port, {folder, tokens: "tokens", write: {tags: ["Main.setpoint"]}});
        const page = await openPage(browser, other.address);
        await signIn(page, token);
        await waitForText(page, "#viewer", "may write");
        await search(page, "Main.setpoint");
        await waitForRow(page, "Main.setpoint", {state: "fresh"});
        await page.click('[aria-label="Write Main.setpoint"]');
        await review(page, "5");
        await lone.stop();
        await waitForText(page, "#write-lock", "Locked");
        assert.equal(await page.$eval("#write-now", (button) => button.disabled), true);
        await other.stop();
    });

    // From now on requests to `paths` wait in the list that this answers, until they are continued.
    async function holdRequests(page, ...paths) {
        const held = [];
        await page.setRequestInterception(true);
        page.on("request", (request) => {
            if (paths.includes(new URL(request.url()).pathname)) {
                held.push(request);
            } else {
                request.continue();
            }
        });
        return held;
    }

    test("asking for the confirmation twice leads there once, and not again after the order", async () => {
        const page = await openWriter("Main.operating_mode");
        await review(page, "3");
        const held = await holdRequests(page, "/api/parse", "/api/write");
        await page.click("#write-back");
        await page.$eval("#write-form", (form) => {
            form.requestSubmit();
            form.requestSubmit();
        });
        await eventually(() => held.length === 3);
        await held[1].continue();
        await page.waitForSelector("#write-confirm:not([hidden])");
        await page.click("#write-now");
        await eventually(() => held.length === 4);
        for (const late of [held[0], held[2]]) {
            const answered = page.waitForResponse((response) => response.request() === late);
            await late.continue();
            await answered;
        }
        await pause(200);
        assert.equal(await page.$eval("#write-choices", (choices) => choices.hidden), true);
        await held[3].continue();
        await waitForText(page, "#write-outcome", "Done");
        assert.equal(held.length, 4);
    });

    test("the outcome of a write is told when its dialog was closed, and when another one is open", async () => {
        const page = await openWriter("Main.batch_name");
        await review(page, "THIRD");
        const held = await holdRequests(page, "/api/write");
        await page.click("#write-now");
        await eventually(() => held.length === 1);
        await page.click("#write-cancel");
        await search(page, "Main.operating_mode");
        await waitForRow(page, "Main.operating_mode", {state: "fresh"});
        await page.click('[aria-label="Write Main.operating_mode"]');
        await held[0].continue();
        await waitForText(page, "#write-earlier", "Main.batch_name: Done: the PLC has taken it.");
        assert.equal(await textOf(page, "#write-outcome"), "");
        await waitForText(page, "#write-outcomes", "Main.batch_name: Done: the PLC has taken it.");
        await review(page, "1");
        await page.click("#write-now");
        await eventually(() => held.length === 2);
        await page.click("#write-cancel");
        await held[1].continue();
        await waitForText(page, "#write-outcomes", "Main.operating_mode: Done: the PLC has taken it.");
        assert.deepEqual(await violations(page), []);
        await page.click("#write-outcomes button");
        assert.equal((await textOf(page, "#write-outcomes")).includes("Main.batch_name"), false);
        assert.deepEqual(page.complaints, []);
    });

    test("signing out takes the right to write away", async () => {
        const page = await openPage(browser, gateway.address);
        await signIn(page, anna);
        await waitForText(page, "#viewer", "anna (may write)");
        await search(page, "Main.setpoint");
        await page.waitForSelector('[aria-label="Write Main.setpoint"]');
        await page.click("#sign-out");
        await page.waitForSelector('[aria-label="Write Main.setpoint"]', {hidden: true});
        assert.equal(await textOf(page, "#viewer"), "");
        await show(page, "events");
    });
});
