// What a screen reader says without being asked: changes of the connection and outcomes, never values.

import {byId} from "./dom.js";

export function announce(text) {
    const line = byId("announcements");
    line.textContent = "";
    // In a turn of its own, so that a text that is the same again is said again.
    setTimeout(() => {
        line.textContent = text;
    }, 50);
}
