// Chromium without a window, and what the tests ask of pages. Each page notes what it complained of.
import {createRequire} from "node:module";
import fs from "node:fs";
import path from "node:path";

import {ROOT} from "./programs.js";

const installed = createRequire(path.join(ROOT, "build/browser/package.json"));
const puppeteer = installed("puppeteer-core");
const AXE = fs.readFileSync(installed.resolve("axe-core/axe.min.js"), "utf8");
const CHROMIUM = process.env.CHROMIUM ?? "/usr/bin/chromium";
const SEEN = path.join(ROOT, "build/browser");  // for whoever wants to look
const DOCUMENTED = process.env.AC500_PICTURES ?? SEEN;  // for the documents
const IN_DOCUMENTS = ["values", "stale", "trend", "connection", "write"];

export const DESKTOP = {width: 1000, height: 640};
export const PHONE = {width: 390, height: 780, isMobile: true, hasTouch: true};

export function launch(...args) {
    return puppeteer.launch({executablePath: CHROMIUM, headless: true, args: ["--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-proxy-server", ...args]});
}

const contexts = new Set();

// After each test: a gateway lets in few viewers from one address.
export async function closePages() {
    const open = [...contexts];
    contexts.clear();
    await Promise.all(open.map((context) => context.close()));
}

// A page of its own, without the cookies of others, until closePages().
export async function openPage(browser, address, {viewport = DESKTOP, scheme = "light"} = {}) {
    const context = await browser.createBrowserContext();
    contexts.add(context);
    const page = await context.newPage();
    return prepare(page, address, viewport, scheme);
}

export async function prepare(page, address, viewport = DESKTOP, scheme = "light") {
    page.complaints = [];
    page.on("pageerror", (error) => page.complaints.push(String(error)));
    page.on("console", (message) => {
        if (message.type() === "error" && !/Failed to load resource/.test(message.text())) {
            page.complaints.push(message.text());
        }
    });
    await page.setViewport(viewport);
    await page.emulateMediaFeatures([{name: "prefers-color-scheme", value: scheme}]);
    await page.goto(address, {waitUntil: "domcontentloaded"});
    return page;
}

// What can be seen of the row of a tag; null while it has none.
export function rowOf(page, tag) {
    return page.evaluate((name) => {
        const row = document.querySelector(`[data-tag="${CSS.escape(name)}"]`);
        return row && {
            value: row.querySelector(".value-text").textContent,
            state: row.querySelector(".state-text").textContent,
            age: row.querySelector(".cell-age").textContent,
            symbol: row.querySelector("use").getAttribute("href"),
            pattern: row.className.replace("row ", ""),
        };
    }, tag);
}

export function waitForRow(page, tag, expected, timeout = 10000) {
    return page.waitForFunction((name, wanted) => {
        const row = document.querySelector(`[data-tag="${CSS.escape(name)}"]`);
        return row && (wanted.state === undefined || row.querySelector(".state-text").textContent === wanted.state) &&
            (wanted.value === undefined || row.querySelector(".value-text").textContent === wanted.value);
    }, {timeout, polling: 50}, tag, expected);
}

export function waitForText(page, selector, text, timeout = 10000) {
    return page.waitForFunction((where, wanted) => {
        const found = document.querySelector(where);
        return found && found.checkVisibility() && found.textContent.includes(wanted);
    }, {timeout, polling: 50}, selector, text);
}

export const textOf = (page, selector) => page.$eval(selector, (found) => found.textContent);

export async function search(page, text) {
    await page.$eval("#search", (field) => {
        field.value = "";
    });
    await page.type("#search", text);
}

export async function show(page, view) {
    await page.click(`#to-${view}`);
    await page.waitForSelector(`#view-${view}:not([hidden])`);
}

// What axe finds against accessibility, one line each.
export async function violations(page) {
    await page.evaluate(AXE);
    return page.evaluate(async () => {
        const {violations: found} = await globalThis.axe.run();
        return found.map(({id, nodes}) => `${id}: ${nodes.map(({target}) => target.join(" ")).join("; ")}`);
    });
}

// Whether something sticks out of the page to the right.
export const isWiderThanScreen = (page) => page.evaluate(() => document.documentElement.scrollWidth > document.documentElement.clientWidth);

export async function picture(page, name) {
    await page.screenshot({path: path.join(IN_DOCUMENTS.includes(name) ? DOCUMENTED : SEEN, `gateway-${name}.png`)});
}

// By the token that ac500-gateway made.
export async function signIn(page, token) {
    await page.waitForSelector("#sign-in-open:not([hidden]), #sign-in[open]");
    if (await page.$("#sign-in:not([open])")) {
        await page.click("#sign-in-open");
    }
    await page.type("#token", token);
    await page.click("#sign-in-submit");
    await page.waitForSelector("#sign-in:not([open])", {hidden: true});
}
