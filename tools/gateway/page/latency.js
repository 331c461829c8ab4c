// How long things took, as histograms with logarithmic steps: one for each kind, with its figures beside it.

import {get} from "./api.js";
import {byId, element, svgElement} from "./dom.js";
import {countText, microsecondsText} from "./texts.js";

const WIDTH = 320;
const HEIGHT = 96;
const AXIS = 16;
const WIDEST_BAR = 40;
const BUCKET_OCTAVES = 0.25;  // width of a bucket

// The buckets from the first to the last that has anything: what lies outside is only empty.
export function filled(buckets) {
    const first = buckets.findIndex(([, count]) => count > 0);
    const last = buckets.findLastIndex(([, count]) => count > 0);
    return first < 0 ? [] : buckets.slice(first, last + 1);
}

export class LatencyView {
    async refresh() {
        const {kinds} = await get("/api/latency");
        byId("latency").replaceChildren(...kinds.map(figureOf));
    }
}

function figureOf(kind) {
    const figures = kind.count === 0 ? "nothing yet" :
        `${countText(kind.count, "time")}; half within ${microsecondsText(kind.p50_us)}, 99 % within ${microsecondsText(kind.p99_us)}, longest ${microsecondsText(kind.longest_us)}`;
    return element("figure", {class: "histogram"}, element("figcaption", {}, element("b", {}, kind.name), element("br"), figures), bars(kind, figures));
}

// Buckets in which nothing was counted may be missing, so each stands where its upper end belongs on the logarithmic scale.
function bars(kind, figures) {
    const buckets = filled(kind.buckets);
    const highest = Math.max(1, ...buckets.map(([, count]) => count));
    const [first, last] = [buckets[0]?.[0] ?? 1, buckets.at(-1)?.[0] ?? 1].map(Math.log2);
    const step = WIDTH / ((last - first) / BUCKET_OCTAVES + 1);
    const width = Math.min(Math.max(1, step - 1), WIDEST_BAR);
    const room = HEIGHT - AXIS;
    const picture = svgElement("svg", {viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: "img", "aria-label": `Histogram of ${kind.name}: ${figures}`});
    for (const [upper, count] of buckets) {
        const height = count === 0 ? 0 : Math.max(1, count / highest * (room - 2));
        const x = (Math.log2(upper) - first) / BUCKET_OCTAVES * step;
        picture.append(svgElement("rect", {class: "bar", x: x.toFixed(1), width: width.toFixed(1), y: (room - height).toFixed(1), height: height.toFixed(1)},
            svgElement("title", {}, `up to ${microsecondsText(upper)}: ${count}`)));
    }
    picture.append(svgElement("line", {class: "axis", x1: 0, x2: WIDTH, y1: room, y2: room}));
    if (buckets.length > 0) {
        picture.append(svgElement("text", {x: 0, y: HEIGHT - 3}, `≤ ${microsecondsText(buckets[0][0])}`));
    }
    if (buckets.length > 1) {
        picture.append(svgElement("text", {x: WIDTH, y: HEIGHT - 3, "text-anchor": "end"}, `≤ ${microsecondsText(buckets.at(-1)[0])}`));
    }
    return picture;
}
