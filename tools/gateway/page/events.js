// The view of events: what happened, the latest first, with a filter by level and by words.

import {get} from "./api.js";
import {byId, element, setText, symbol} from "./dom.js";
import {countText, dateTimeText} from "./texts.js";

const KEPT = 1000;
const SHOWN = 200;
const LEVELS = ["debug", "info", "warning", "error"];

// `events` and what arrived on the stream meanwhile, by number, the oldest first; of both the latest KEPT.
export function merged(events, arrived) {
    const byNumber = new Map([...events, ...arrived].map((event) => [event.number, event]));
    return [...byNumber.values()].sort((a, b) => a.number - b.number).slice(-KEPT);
}

export class EventsView {
    #events = [];     // by number, the oldest first
    #arrived = null;  // while the gateway is asked for events: those that the stream told meanwhile
    #app;

    constructor(app) {
        this.#app = app;
        byId("event-level").addEventListener("change", () => this.#draw());
        byId("event-search").addEventListener("input", () => this.#draw());
        app.connection.on("hello", () => this.#catchUp());
        app.connection.on("happened", ({events}) => this.#take(events));
    }

    open() {
        this.#catchUp();
        this.#draw();
    }

    close() {}

    watched() {
        return [];
    }

    // What happened while no stream told of it. A gateway that started anew counts from the beginning.
    async #catchUp() {
        const arrived = this.#arrived = [];
        try {
            const {events} = await get("/api/events");
            if (this.#arrived !== arrived) {
                return;  // asked again meanwhile
            }
            this.#events = merged(events, arrived);
            this.#draw();
            setText(byId("events-problem"), "");
        } catch (problem) {
            setText(byId("events-problem"), String(problem));
        }
        if (this.#arrived === arrived) {
            this.#arrived = null;
        }
    }

    #take(events) {
        this.#arrived?.push(...events);
        this.#events = merged(this.#events, events);
        this.#draw();
    }

    #draw() {
        if (byId("view-events").hidden) {
            return;
        }
        const level = LEVELS.indexOf(byId("event-level").value);
        const words = byId("event-search").value.toLowerCase();
        const chosen = this.#events.filter((event) => LEVELS.indexOf(event.level) >= level && `${event.event} ${event.text}`.toLowerCase().includes(words)).reverse();
        setText(byId("event-count"), chosen.length > SHOWN ? `the latest ${SHOWN} of ${countText(chosen.length, "event")}` : countText(chosen.length, "event"));
        byId("event-rows").replaceChildren(...chosen.slice(0, SHOWN).map((event) => element("tr", {class: `level-${event.level}`},
            element("td", {}, symbol(`level-${event.level}`), event.level),
            element("td", {}, element("time", {datetime: event.utc, title: event.utc}, dateTimeText(Date.parse(event.utc)))),
            element("td", {}, event.event),
            element("td", {}, event.text))));
    }
}
