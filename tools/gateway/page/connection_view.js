// The view of the connection: its time line and its latencies, looked at again while the view is open.

import {byId, setText} from "./dom.js";
import {LatencyView} from "./latency.js";
import {TimeLineView} from "./timeline.js";

const EACH_MS = 2000;

export class ConnectionView {
    #parts = [new TimeLineView(), new LatencyView()];
    #timer = null;

    open() {
        clearTimeout(this.#timer);
        this.#refresh();
    }

    close() {
        clearTimeout(this.#timer);
        this.#timer = null;
    }

    watched() {
        return [];
    }

    async #refresh() {
        const timer = this.#timer = setTimeout(() => this.#refresh(), EACH_MS);
        if (document.visibilityState === "hidden") {
            return;
        }
        const results = await Promise.allSettled(this.#parts.map((part) => part.refresh()));
        const failed = results.find(({status}) => status === "rejected");
        if (timer === this.#timer) {
            setText(byId("connection-problem"), failed ? String(failed.reason) : "");
        }
    }
}
