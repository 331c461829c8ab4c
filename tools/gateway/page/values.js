// The view of values: tags by scope, with search; what is shown of each follows the board.

import {get} from "./api.js";
import {byId, element, setSymbol, setText, svgElement, symbol} from "./dom.js";
import {SPARKLINE, sparklinePath} from "./sparkline.js";
import {lookOf} from "./tag_states.js";
import {ageText, countText, valueText} from "./texts.js";
import {ValueRows} from "./value_rows.js";

const AGES_EACH_MS = 1000;
const TRENDS_AT_ONCE = 16;

// What a tag must have in its name, description or unit: all words, in any order, in capitals or not.
export function matches(tag, words) {
    const text = `${tag.name} ${tag.description} ${tag.unit}`.toLowerCase();
    return words.every((word) => text.includes(word));
}

// Scopes in the order of their names, each followed by its tags.
export function itemsOf(tags, scope, search) {
    const words = search.toLowerCase().split(/\s+/).filter((word) => word !== "");
    const chosen = tags.filter((tag) => (scope === "" || tag.scope === scope) && matches(tag, words));
    const byScope = Map.groupBy ? Map.groupBy(chosen, (tag) => tag.scope) : groupByScope(chosen);
    const items = [];
    for (const name of [...byScope.keys()].sort()) {
        items.push({scope: name, count: byScope.get(name).length});
        items.push(...byScope.get(name).map((tag) => ({tag})));
    }
    return items;
}

function groupByScope(tags) {
    const groups = new Map();
    for (const tag of tags) {
        groups.set(tag.scope, [...(groups.get(tag.scope) ?? []), tag]);
    }
    return groups;
}

export class ValuesView {
    #app;
    #rows;
    #shown = new Map();  // number of a tag -> the parts of its row
    #seeded = new Set();

    // `app` has plant, board, clock, freshness, connection, selection and mayWrite, and openWrite(tag).
    constructor(app) {
        this.#app = app;
        this.#rows = new ValueRows(byId("value-viewport"), byId("value-rows"), (item, index) => this.#makeRow(item, index),
            (items) => this.#watch(items));
        byId("search").addEventListener("input", () => this.#list());
        byId("scope").addEventListener("change", () => this.#list());
        const redraw = () => this.#refreshAll();
        app.connection.on("picture", redraw);
        app.connection.on("beat", redraw);
        app.connection.on("changes", ({values}) => values.forEach(({tag}) => this.#refresh(tag)));
        app.freshness.onChange(redraw);
        app.selection.onChange(redraw);
        setInterval(redraw, AGES_EACH_MS);
    }

    // What was asked of another gateway, or under other numbers of tags, is asked again.
    startAnew() {
        this.#seeded.clear();
    }

    takePlant() {
        const scopes = [...new Set(this.#app.plant.tags.map((tag) => tag.scope))].sort();
        byId("scope").replaceChildren(element("option", {value: ""}, "All scopes"),
            ...scopes.map((scope) => element("option", {value: scope}, scope === "" ? "(global)" : scope)));
        this.#list();
    }

    // The numbers of the tags that are to be watched while this view is shown.
    watched() {
        return [...this.#shown.keys()];
    }

    open() {
        this.#watch(this.#rows.shownItems());
        this.#refreshAll();
    }

    #list() {
        if (this.#app.plant === null) {
            return;  // somebody types before the plant is known; takePlant() looks at what was typed
        }
        const {tags} = this.#app.plant;
        const items = itemsOf(tags, byId("scope").value, byId("search").value);
        const count = items.filter((item) => item.tag).length;
        byId("value-table").setAttribute("aria-rowcount", String(items.length + 1));
        setText(byId("value-count"), count === tags.length ? countText(count, "tag") : `${count.toLocaleString("en")} of ${countText(tags.length, "tag")}`);
        byId("no-values").hidden = count > 0;
        this.#shown.clear();
        this.#rows.show(items);
    }

    #watch(items) {
        const numbers = new Set(items.filter((item) => item.tag).map((item) => item.tag.number));
        for (const number of this.#shown.keys()) {
            if (!numbers.has(number)) {
                this.#shown.delete(number);
            }
        }
        this.#app.watchAgain();
        this.#seed(items);
    }

    // What the gateway keeps of these tags begins their sparklines.
    async #seed(items) {
        const numbers = items.filter((item) => item.tag?.kept && !this.#seeded.has(item.tag.number)).map((item) => item.tag.number);
        const now = this.#app.clock.now();
        if (numbers.length === 0 || now === null) {
            return;
        }
        numbers.forEach((number) => this.#seeded.add(number));
        for (let first = 0; first < numbers.length; first += TRENDS_AT_ONCE) {
            await this.#seedSome(numbers.slice(first, first + TRENDS_AT_ONCE), now);
        }
    }

    async #seedSome(numbers, now) {
        const from = Math.max(0, Math.round(now - SPARKLINE.span));
        const to = Math.max(from + 1, Math.round(now));
        try {
            const trend = await get("/api/trend", [...numbers.map((number) => ["tag", number]), ["from", from], ["to", to], ["columns", SPARKLINE.width]]);
            for (const {tag, columns} of trend.series) {
                this.#app.board.seedHistory(tag, columns.map(([clock, least, largest]) => [clock, least === null ? null : (least + largest) / 2]));
                this.#refresh(tag);
            }
        } catch {
            numbers.forEach((number) => this.#seeded.delete(number));
        }
    }

    #makeRow(item, index) {
        return item.tag ? this.#makeTagRow(item.tag, index) : element("div", {class: "row scope-row", role: "row", "aria-rowindex": index + 2},
            element("div", {class: "cell", role: "rowheader", "aria-colspan": 6}, element("b", {}, item.scope === "" ? "(global)" : item.scope), ` ${countText(item.count, "tag")}`));
    }

    #makeTagRow(tag, index) {
        const picture = symbol("never");
        const line = svgElement("path", {class: "sparkline"});
        const parts = {
            tag,
            value: element("span", {class: "value-text"}),
            state: element("span", {class: "state-text"}),
            age: element("span", {}),
            symbol: picture,
            line,
            trend: null,
            write: null,
        };
        if (tag.kept) {
            parts.trend = element("button", {type: "button", class: "small", onclick: () => this.#app.toggleTrend(tag)}, "Trend");
            parts.trend.setAttribute("aria-label", `Trend of ${tag.name}`);
        }
        if (tag.writable && this.#app.mayWrite()) {
            parts.write = element("button", {type: "button", class: "small", onclick: () => this.#app.openWrite(tag)}, "Write…");
            parts.write.setAttribute("aria-label", `Write ${tag.name}`);
        }
        parts.row = element("div", {class: "row", role: "row", "aria-rowindex": index + 2, "data-tag": tag.name},
            element("div", {class: "cell cell-name", role: "rowheader"}, element("span", {class: "tag-name", title: `${tag.name}, ${tag.type}`}, tag.name),
                element("span", {class: "description", title: tag.description}, tag.description)),
            element("div", {class: "cell cell-value", role: "cell"}, parts.value, tag.unit ? element("span", {class: "unit"}, ` ${tag.unit}`) : null),
            element("div", {class: "cell cell-state", role: "cell"}, picture, parts.state),
            element("div", {class: "cell cell-age", role: "cell"}, parts.age),
            element("div", {class: "cell cell-line", role: "cell"}, svgElement("svg", {viewBox: `0 0 ${SPARKLINE.width} ${SPARKLINE.height}`, class: "spark", "aria-hidden": "true", preserveAspectRatio: "none"}, line)),
            element("div", {class: "cell cell-actions", role: "cell"}, parts.trend, parts.write));
        this.#shown.set(tag.number, parts);
        this.#refresh(tag.number);
        return parts.row;
    }

    #refreshAll() {
        if (!byId("view-values").hidden) {
            for (const number of this.#shown.keys()) {
                this.#refresh(number);
            }
        }
    }

    #refresh(number) {
        const parts = this.#shown.get(number);
        if (!parts) {
            return;
        }
        const {board, clock, freshness, selection} = this.#app;
        const value = board.value(number);
        const look = lookOf(value, freshness.isTrusted());
        const text = valueText(value);
        setText(parts.value, text);
        parts.value.title = text.length > 20 ? text : "";
        setText(parts.state, look.text);
        parts.state.title = value?.failure ?? "";
        setSymbol(parts.symbol, look.symbol);
        parts.row.className = `row ${look.pattern}`;
        setText(parts.age, ageText(clock.age(value?.received)));
        parts.line.setAttribute("d", sparklinePath(board.history(number), clock.now() ?? 0));
        parts.trend?.setAttribute("aria-pressed", String(selection.has(parts.tag.name)));
    }
}
