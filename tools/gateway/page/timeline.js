// The connection's life as a line of spans, each state with its own pattern and word, and as a table below it.

import {get} from "./api.js";
import {byId, element, setText, svgElement} from "./dom.js";
import {dateTimeText, spanText, timeText} from "./texts.js";

const WIDTH = 1000;
const HEIGHT = 44;
const NARROWEST = 2;  // so that a short loss can still be seen
const ROWS = 100;

// The class that has the pattern of a state.
export const spanClass = (state) => `span-${state.replaceAll(" ", "-")}`;

// What of `spans` lies in the last `range` milliseconds, cut to it; 0: all.
export function spansWithin(spans, now, range) {
    const from = range === 0 ? spans[0]?.from ?? now : now - range;
    return spans.map((span) => ({...span, to: span.to ?? now}))
        .filter((span) => span.to >= from)
        .map((span) => ({...span, from: Math.max(span.from, from)}));
}

export class TimeLineView {
    #answer = null;

    constructor() {
        byId("timeline-range").addEventListener("change", () => this.#draw());
    }

    async refresh() {
        this.#answer = await get("/api/timeline");
        this.#draw();
    }

    #draw() {
        if (this.#answer === null) {
            return;
        }
        const {clock, utc, spans} = this.#answer;
        const toWall = Date.parse(utc) - clock;
        const shown = spansWithin(spans, clock, Number(byId("timeline-range").value));
        const from = shown[0]?.from ?? clock;
        const scale = WIDTH / Math.max(1, clock - from);
        const bars = shown.map((span) => svgElement("rect", {
            class: spanClass(span.state),
            x: ((span.from - from) * scale).toFixed(1),
            width: Math.max(NARROWEST, (span.to - span.from) * scale).toFixed(1),
            y: 2,
            height: HEIGHT - 4,
        }, svgElement("title", {}, `${span.state} for ${spanText(span.to - span.from)}`)));
        byId("timeline").replaceChildren(...bars);
        setText(byId("timeline-from"), dateTimeText(from + toWall));
        setText(byId("timeline-to"), `now, ${timeText(clock + toWall)}`);
        byId("timeline").setAttribute("aria-label", summaryOf(shown));
        byId("timeline-rows").replaceChildren(...shown.toReversed().slice(0, ROWS).map((span) => rowOf(span, toWall, spans.at(-1).from === span.from && spans.at(-1).to === null)));
    }
}

// "up for 3 min 20 s, lost for 4.0 s"
function summaryOf(spans) {
    const sums = new Map();
    for (const {from, to, state} of spans) {
        sums.set(state, (sums.get(state) ?? 0) + to - from);
    }
    return `Time line of the connection: ${[...sums].map(([state, sum]) => `${state} for ${spanText(sum)}`).join(", ")}`;
}

function rowOf(span, toWall, isNow) {
    return element("tr", {}, element("td", {}, svgElement("svg", {class: "swatch", viewBox: "0 0 24 14", "aria-hidden": "true"}, svgElement("rect", {class: spanClass(span.state), width: 24, height: 14})), span.state),
        element("td", {}, dateTimeText(span.from + toWall)),
        element("td", {}, isNow ? `${spanText(span.to - span.from)} until now` : spanText(span.to - span.from)),
        element("td", {}, span.text));
}
