// How a state of a value looks: a text, a symbol and a pattern (by its class in page.css), so that none needs its colour.

const STATES = new Map([
    ["fresh", {text: "fresh", symbol: "fresh", pattern: "state-fresh"}],
    ["stale", {text: "stale", symbol: "stale", pattern: "state-stale"}],
    ["suspect", {text: "suspect", symbol: "suspect", pattern: "state-suspect"}],
    ["never received", {text: "never received", symbol: "never", pattern: "state-never"}],
    ["write pending", {text: "write pending", symbol: "pending", pattern: "state-pending"}],
    ["write failed", {text: "write failed", symbol: "failed", pattern: "state-failed"}],
]);
const ASKED = {text: "asked for", symbol: "never", pattern: "state-never"};

// `value` as the board has it, or null; `isTrusted` as Freshness says. Without trust every known value is stale, whatever
// the server said last.
export function lookOf(value, isTrusted) {
    if (value === null) {
        return isTrusted ? ASKED : STATES.get("never received");
    }
    if (value.state === "never received") {
        return STATES.get("never received");
    }
    return isTrusted ? STATES.get(value.state) ?? STATES.get("suspect") : STATES.get("stale");
}

export const isFresh = (value, isTrusted) => isTrusted && value !== null && value.state === "fresh";
