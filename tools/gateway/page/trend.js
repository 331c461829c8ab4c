// The view of trends: a chart for each chosen tag, one below the other over the same time. They follow the present until
// somebody zooms or moves; then they stand still until "Follow the present". Of each column of pixels the least and the
// largest sample are drawn, so that no spike is lost, and where nothing was received there is a gap.

import {get} from "./api.js";
import {byId, element, setText} from "./dom.js";
import {SELECTION_LIMIT} from "./selection.js";
import {dateTimeText, spanText} from "./texts.js";

const EACH_MS = 1000;
const MOVE = 0.5;  // of what is shown
const ZOOM = 0.5;
const MOST_COLUMNS = 2000;
const NARROWEST_MS = 1000;
const ALL_AT_FIRST_MS = 3600000;  // asked for as long as it is not known how much is kept

// Rows for the chart: [wall time, [least, middle, largest]]. `toWall` added to a time of the server's clock gives wall time.
export function rowsOf(columns, toWall) {
    return columns.map(([clock, least, largest]) => [new Date(clock + toWall), least === null ? [null, null, null] : [least, (least + largest) / 2, largest]]);
}

// Least and largest of all columns; null when there is nothing.
export function extremes(columns) {
    const known = columns.filter(([, least]) => least !== null);
    return known.length === 0 ? null : {least: Math.min(...known.map(([, least]) => least)), largest: Math.max(...known.map(([, , largest]) => largest))};
}

const nearerTo = (y, [one, other]) => Math.abs(one - y) <= Math.abs(other - y) ? one : other;

// From the least to the largest of each column, entered at the end that is nearer to the column before and left at the one
// that is nearer to the next: a line that rises steadily has no teeth. A column that is alone gets a dot.
function drawColumns({drawingContext: pen, points, plotArea: area, color}) {
    const ends = points.map((point) => Number.isFinite(point.canvasy) ? [area.y + point.y_top * area.h, area.y + point.y_bottom * area.h] : null);
    pen.strokeStyle = color;
    pen.fillStyle = color;
    pen.lineWidth = 1.5;
    pen.beginPath();
    let y = null;  // where the pen is; null: in a gap
    points.forEach(({canvasx: x, canvasy: middle}, at) => {
        if (ends[at] === null) {
            y = null;
            return;
        }
        const [top, bottom] = ends[at];
        const entry = y === null ? top : nearerTo(y, ends[at]);
        if (y !== null) {
            pen.lineTo(x, entry);
        } else {
            pen.moveTo(x, entry);
            if (!ends[at + 1]) {
                pen.fillRect(x - 1.5, Math.min(top, bottom) - 1.5, 3, Math.abs(top - bottom) + 3);
            }
        }
        pen.lineTo(x, entry === top ? bottom : top);
        y = ends[at + 1] ? nearerTo(points[at + 1].canvasy, ends[at]) : middle;
        pen.lineTo(x, y);
    });
    pen.stroke();
}

const significant = (number) => String(Number.parseFloat(number.toPrecision(7)));

export class TrendView {
    #app;
    #charts = new Map();  // name of a tag -> {tag, chart, note, link, box}
    #window = null;       // {from, to} on the server's clock while frozen; null: the present is followed
    #toWall = 0;          // as of the last answer
    #shown = {from: 0, to: 0};
    #oldest = null;       // that is kept, on the server's clock
    #timer = null;
    #asked = 0;

    constructor(app) {
        this.#app = app;
        byId("trend-range").addEventListener("change", () => this.#follow());
        byId("trend-follow").addEventListener("click", () => this.#follow());
        byId("trend-earlier").addEventListener("click", () => this.#move(-MOVE));
        byId("trend-later").addEventListener("click", () => this.#move(MOVE));
        byId("trend-in").addEventListener("click", () => this.#zoom(ZOOM));
        byId("trend-out").addEventListener("click", () => this.#zoom(1 / ZOOM));
        byId("trend-add").addEventListener("change", () => this.#add());
        app.selection.onChange(() => this.#rebuild());
        window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.#rebuild());
        // The legend of the library sets styles in a way that the page's policy forbids; the charts have words instead.
        globalThis.Dygraph.PLUGINS = globalThis.Dygraph.PLUGINS.filter((plugin) => plugin !== globalThis.Dygraph.Plugins.Legend);
    }

    takePlant() {
        this.#rebuild();
    }

    open() {
        this.#rebuild();
    }

    close() {
        clearTimeout(this.#timer);
        this.#timer = null;
    }

    watched() {
        return [];
    }

    isOpen() {
        return !byId("view-trend").hidden;
    }

    #tags() {
        return this.#app.selection.names.map((name) => this.#app.plant?.tags.find((tag) => tag.name === name)).filter((tag) => tag?.kept);
    }

    #add() {
        const name = byId("trend-add").value;
        if (name !== "" && !this.#app.selection.has(name)) {
            this.#app.selection.toggle(name);
        }
    }

    // Everything anew: other tags, other colours.
    #rebuild() {
        if (!this.isOpen() || this.#app.plant === null) {
            return;
        }
        const tags = this.#tags();
        for (const {chart} of this.#charts.values()) {
            chart?.destroy();
        }
        this.#charts = new Map(tags.map((tag) => [tag.name, this.#makeChart(tag)]));
        byId("trend-charts").replaceChildren(...[...this.#charts.values()].map(({box}) => box));
        const kept = this.#app.plant.tags.filter((tag) => tag.kept && !this.#app.selection.has(tag.name));
        byId("trend-add").replaceChildren(element("option", {value: ""}, "choose a tag …"), ...kept.map((tag) => element("option", {value: tag.name}, tag.name)));
        byId("trend-add").disabled = this.#app.selection.isFull() || kept.length === 0;
        setText(byId("trend-none"), noneText(tags.length, this.#app.plant.tags.some((tag) => tag.kept)));
        this.#refresh();
    }

    #makeChart(tag) {
        const note = element("p", {class: "chart-note"});
        const link = element("a", {class: "button", download: `${tag.name}.csv`}, "CSV");
        link.setAttribute("aria-label", `Raw samples of ${tag.name} as CSV, times in UTC`);
        const remove = element("button", {type: "button", class: "small", onclick: () => this.#app.selection.toggle(tag.name)}, "Remove");
        remove.setAttribute("aria-label", `Remove ${tag.name} from the trend`);
        const area = element("div", {class: "chart", role: "img"});
        const box = element("section", {class: "chart-box"},
            element("header", {}, element("h3", {}, tag.name, tag.unit ? ` in ${tag.unit}` : ""), link, remove), area, note);
        return {tag, note, link, area, box, chart: null};
    }

    #follow() {
        this.#window = null;
        this.#refresh();
    }

    // What is shown stays as it is, whatever arrives.
    #freeze(from, to) {
        const middle = (from + to) / 2;
        const half = Math.max(to - from, NARROWEST_MS) / 2;
        this.#window = {from: Math.max(0, middle - half), to: middle + half};
        this.#refresh();
    }

    #move(part) {
        const {from, to} = this.#shown;
        const step = (to - from) * part;
        this.#freeze(Math.max(0, from + step), Math.max(to - from, to + step));
    }

    #zoom(factor) {
        const {from, to} = this.#shown;
        const middle = (from + to) / 2;
        const half = (to - from) / 2 * factor;
        this.#freeze(middle - half, middle + half);
    }

    async #refresh() {
        clearTimeout(this.#timer);
        if (!this.isOpen() || this.#app.plant === null) {
            return;
        }
        if (this.#window === null) {
            this.#timer = setTimeout(() => this.#refresh(), EACH_MS);
        }
        const now = this.#app.clock.now();
        if (document.visibilityState === "hidden" || this.#charts.size === 0 || now === null) {
            this.#timer ??= setTimeout(() => this.#refresh(), EACH_MS);
            return;
        }
        const asked = ++this.#asked;
        const range = Number(byId("trend-range").value);
        const {from, to} = this.#window ?? {from: range === 0 ? this.#oldest ?? now - ALL_AT_FIRST_MS : Math.max(0, now - range), to: now};
        const columns = Math.min(MOST_COLUMNS, Math.max(50, Math.floor(byId("trend-charts").clientWidth - 80)));
        try {
            const tags = [...this.#charts.values()].map(({tag}) => ["tag", tag.number]);
            const answer = await get("/api/trend", [...tags, ["from", Math.round(from)], ["to", Math.round(to)], ["columns", columns]]);
            if (asked === this.#asked && this.isOpen()) {
                this.#oldest = answer.oldest;
                this.#draw(answer, this.#window === null ? Math.max(from, answer.oldest ?? from) : from, to);
                setText(byId("trend-problem"), "");
            }
        } catch (problem) {
            setText(byId("trend-problem"), String(problem));
        }
    }

    #draw(answer, from, to) {
        const toWall = Date.parse(answer.utc) - answer.clock;
        this.#toWall = toWall;
        this.#shown = {from, to};
        const hasOldest = answer.oldest !== null && answer.oldest !== undefined;
        setText(byId("trend-oldest"), hasOldest ? `Kept since ${dateTimeText(answer.oldest + toWall)}, ${spanText(answer.clock - answer.oldest)} back.` : "Nothing is kept yet.");
        setText(byId("trend-state"), `${this.#window === null ? "Follows the present" : "Stands still"}: ${dateTimeText(from + toWall)} to ${dateTimeText(to + toWall)}`);
        byId("trend-follow").disabled = this.#window === null;
        for (const {tag, columns} of answer.series) {
            const part = [...this.#charts.values()].find((other) => other.tag.number === tag);
            if (part) {
                this.#drawChart(part, columns, from, to);
            }
        }
    }

    #drawChart(part, columns, from, to) {
        const {tag, note, link, area} = part;
        const found = extremes(columns);
        const words = found === null ? "nothing was received in this time" : `least ${significant(found.least)}, largest ${significant(found.largest)}${tag.unit ? ` ${tag.unit}` : ""}`;
        setText(note, words);
        area.setAttribute("aria-label", `Trend of ${tag.name}: ${words}`);
        link.href = `/api/trend.csv?${new URLSearchParams([["tag", tag.number], ["from", Math.round(from)], ["to", Math.round(to)]])}`;
        const rows = rowsOf(columns, this.#toWall);
        const dateWindow = [from + this.#toWall, to + this.#toWall];
        const file = rows.length > 0 ? rows : [[new Date(dateWindow[0]), [null, null, null]]];
        if (part.chart === null) {
            part.chart = this.#newChart(area, file, dateWindow);
        } else {
            part.chart.updateOptions({file, dateWindow, valueRange: null});
        }
    }

    #newChart(area, file, dateWindow) {
        const colours = getComputedStyle(document.documentElement);
        const colour = (name) => colours.getPropertyValue(name).trim();
        return new globalThis.Dygraph(area, file, {
            labels: ["time", "value"],
            customBars: true,
            dateWindow,
            plotter: drawColumns,
            colors: [colour("--accent")],
            axisLineColor: colour("--line-strong"),
            gridLineColor: colour("--line"),
            axisLabelFontSize: 13,
            axes: {y: {axisLabelWidth: 64}},
            legend: "never",
            showLabelsOnHighlight: false,
            highlightCircleSize: 0,
            animatedZooms: false,
            zoomCallback: (least, largest) => this.#freeze(least - this.#toWall, largest - this.#toWall),
        });
    }
}

function noneText(count, isAnyKept) {
    if (!isAnyKept) {
        return "The settings of the gateway name no tags to keep (trend, tags).";
    }
    return count > 0 ? "" : `Choose a tag to see its trend, at most ${SELECTION_LIMIT} at a time.`;
}
