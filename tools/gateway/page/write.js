// The write dialog: type, look at old and new, then order it by a button of its own. Nothing else writes: neither Enter in
// the field, nor leaving it, nor holding a key. It is locked while the value on the screen may not be that of the PLC.

import {announce} from "./announcer.js";
import {post} from "./api.js";
import {byId, element, setSymbol, setText} from "./dom.js";
import {lookOf} from "./tag_states.js";
import {valueText} from "./texts.js";

const EXPIRES_MS = 5000;
const OUTCOME_LIMIT_MS = EXPIRES_MS + 5000;
const PARSE_DELAY_MS = 150;

// A number that was not used before and will not be again.
function oneUseNumber() {
    return Array.from(crypto.getRandomValues(new Uint8Array(12)), (byte) => byte.toString(16).padStart(2, "0")).join("");
}

// Why nothing may be written now; empty: it may. `old` is what the confirmation shows, or null before there is one.
export function lockReason({isTrusted, session, value, old}) {
    if (!isTrusted) {
        return "Locked: the gateway is not heard, so the value shown may be an old one.";
    }
    if (session?.state === "other program") {
        return "Locked: the PLC runs another program than the one that the names are from.";
    }
    if (session?.state !== "up") {
        return "Locked: the PLC is not connected.";
    }
    if (value?.state !== "fresh" && value?.state !== "write failed") {
        return `Locked: the value is not fresh (${value?.state ?? "asked for"}).`;
    }
    if (old !== null && valueText(value) !== old.join(", ")) {
        return "Locked: the value has changed since; go back and look at it again.";
    }
    return "";
}

export class WriteDialog {
    #app;
    #dialog = byId("write");
    #tag = null;
    #step = "type";    // then "confirm", "sent", "over"
    #parsed = null;    // texts of what would be written
    #old = null;       // texts that the confirmation shows
    #number = null;    // of the write whose outcome the open dialog waits for
    #underway = new Map();  // number -> {tag, timer}: writes without an outcome, also those whose dialog was closed
    #parseTimer = null;

    constructor(app) {
        this.#app = app;
        byId("write-form").addEventListener("submit", (event) => {
            event.preventDefault();
            this.#confirm();
        });
        byId("write-text").addEventListener("input", () => this.#parseSoon());
        byId("write-names").addEventListener("change", () => {
            byId("write-text").value = byId("write-names").value;
            this.#parseSoon();
        });
        byId("write-back").addEventListener("click", () => this.#type());
        byId("write-now").addEventListener("click", () => this.#order());
        byId("write-cancel").addEventListener("click", () => this.#dialog.close());
        this.#dialog.addEventListener("close", () => this.#closed());
        const refresh = () => this.#refresh();
        for (const event of ["beat", "picture", "changes", "state"]) {
            app.connection.on(event, refresh);
        }
        app.freshness.onChange(refresh);
        app.connection.on("state", ({state}) => state !== "open" && this.#loseOutcomes());
        app.connection.on("write", (outcome) => this.#take(outcome));
    }

    // The number of the tag that is looked at; null while the dialog is closed.
    get watched() {
        return this.#dialog.open && this.#tag !== null ? [this.#tag.number] : [];
    }

    open(tag) {
        this.#tag = tag;
        setText(byId("write-title"), `Write ${tag.name}`);
        setText(byId("write-description"), [tag.description, tag.type, rangeText(tag)].filter((text) => text !== "").join("; "));
        const names = Object.entries(tag.names ?? {});
        byId("write-names-line").hidden = names.length === 0;
        byId("write-names").replaceChildren(element("option", {value: ""}, "choose …"), ...names.map(([number, name]) => element("option", {value: number}, `${number} ${name}`)));
        byId("write-text").value = "";
        setText(byId("write-outcome"), "");
        setText(byId("write-earlier"), "");
        this.#number = null;
        this.#type();
        this.#dialog.showModal();
        byId("write-text").focus();
        this.#app.watchAgain();
    }

    close() {
        this.#dialog.close();
    }

    #closed() {
        clearTimeout(this.#parseTimer);
        if (this.#underway.has(this.#number)) {
            announce(`The write of ${this.#tag.name} goes on; its outcome will be told`);
        }
        this.#number = null;
        this.#tag = null;
        this.#app.watchAgain();
    }

    #type() {
        this.#old = null;
        this.#enter("type");
        this.#parse();
        byId("write-text").focus();
    }

    #parseSoon() {
        this.#parsed = null;
        this.#refresh();
        clearTimeout(this.#parseTimer);
        this.#parseTimer = setTimeout(() => this.#parse(), PARSE_DELAY_MS);
    }

    // The gateway reads the text, as it will when it writes.
    async #parse() {
        clearTimeout(this.#parseTimer);
        this.#parsed = null;
        const text = byId("write-text").value;
        const tag = this.#tag;
        let problem = "";
        if (text.trim() !== "") {
            try {
                const {parsed} = await post("/api/parse", {tag: tag.number, text});
                if (text !== byId("write-text").value || tag !== this.#tag) {
                    return;  // typed on meanwhile
                }
                this.#parsed = parsed;
            } catch (caught) {
                problem = String(caught);
            }
        }
        if (text === byId("write-text").value) {
            setText(byId("write-parsed"), this.#parsed === null ? problem : `Is read as ${withUnit(this.#parsed, tag)}`);
            byId("write-parsed").classList.toggle("problem", problem !== "");
        }
        this.#refresh();
    }

    async #confirm() {
        if (this.#step !== "type") {
            return;
        }
        if (this.#parsed === null) {
            await this.#parse();
        }
        if (this.#step !== "type") {
            return;  // confirmed meanwhile, perhaps ordered
        }
        if (this.#parsed === null || this.#lock() !== "") {
            return;
        }
        const value = this.#app.board.value(this.#tag.number);
        this.#old = [...value.texts];
        setText(byId("write-old"), withUnit(this.#old, this.#tag));
        setText(byId("write-new"), withUnit(this.#parsed, this.#tag));
        setText(byId("write-typed"), byId("write-text").value.trim());
        setText(byId("write-now"), `Write ${withUnit(this.#parsed, this.#tag)}`);
        this.#enter("confirm");
        byId("write-question").focus();  // not the button: a second Enter must not write
    }

    async #order() {
        if (this.#step !== "confirm" || this.#lock() !== "") {
            return;
        }
        this.#number = oneUseNumber();
        const number = this.#number;
        this.#enter("sent");
        this.#say("Sent to the gateway …");
        this.#underway.set(number, {
            tag: this.#tag,
            timer: setTimeout(() => this.#take({number, outcome: "unknown", text: "no outcome arrived"}), OUTCOME_LIMIT_MS),
        });
        try {
            await post("/api/write", {stream: this.#app.connection.stream, tag: this.#tag.number, text: byId("write-text").value, old: this.#old, expires_ms: EXPIRES_MS, number});
        } catch (problem) {
            const isKnown = problem.status > 0;
            this.#take({number, outcome: isKnown ? "refused" : "unknown", text: String(problem)});
        }
    }

    // The first word about a write is the last.
    #take({number, outcome, text}) {
        const write = this.#underway.get(number);
        if (!write) {
            return;
        }
        clearTimeout(write.timer);
        this.#underway.delete(number);
        const words = {
            "done": "Done: the PLC has taken it.",
            "refused": "Refused: nothing was written.",
            "not sent": "Not sent: nothing was written.",
            "unknown": "Unknown: it may have been written. Look at the value before you write again.",
        };
        const reason = (text ?? "").replace(new RegExp(`^${outcome}: `), "");
        const said = [words[outcome] ?? outcome, asSentence(reason)].filter((part) => part !== "").join(" ");
        if (number === this.#number && this.#dialog.open) {
            this.#number = null;
            this.#enter("over");
            this.#say(said, outcome);
        } else {
            this.#sayElsewhere(`${write.tag.name}: ${said}`);
        }
    }

    #loseOutcomes() {
        for (const number of [...this.#underway.keys()]) {
            this.#take({number, outcome: "unknown", text: "The connection to the gateway broke before the outcome arrived."});
        }
    }

    // In the dialog, which is announced by itself.
    #say(text, outcome = "") {
        byId("write-outcome").dataset.outcome = outcome;
        setText(byId("write-outcome"), text);
    }

    // Of a write whose dialog was closed: in the page until somebody has seen it, and in a dialog that hides the page.
    #sayElsewhere(text) {
        const remove = () => {
            banner.remove();
            byId("main").focus();
        };
        const banner = element("p", {class: "banner"}, `${text} `, element("button", {type: "button", class: "small", onclick: remove}, "Seen"));
        byId("write-outcomes").append(banner);
        if (this.#dialog.open) {
            setText(byId("write-earlier"), [byId("write-earlier").textContent, text].filter((part) => part !== "").join(" "));
        } else {
            announce(text);
        }
    }

    #lock() {
        const value = this.#app.board.value(this.#tag.number);
        return lockReason({isTrusted: this.#app.freshness.isTrusted(), session: this.#app.session, value, old: this.#old});
    }

    #enter(step) {
        this.#step = step;
        byId("write-form").hidden = step !== "type";
        byId("write-confirm").hidden = step === "type";
        byId("write-choices").hidden = step !== "confirm";
        setText(byId("write-cancel"), step === "over" ? "Close" : "Cancel");
        this.#dialog.classList.toggle("is-sent", step === "sent");
        byId("write-cancel").textContent = step === "over" || step === "sent" ? "Close" : "Cancel";
        this.#refresh();
    }

    #refresh() {
        if (!this.#dialog.open && this.#step !== "type" || this.#tag === null) {
            return;
        }
        const value = this.#app.board.value(this.#tag.number);
        const look = lookOf(value, this.#app.freshness.isTrusted());
        setText(byId("write-value"), value?.texts?.length ? withUnit(value.texts, this.#tag) : "–");
        setText(byId("write-state-text"), look.text);
        setSymbol(byId("write-state-symbol"), look.symbol);
        byId("write-current").className = look.pattern;
        const reason = this.#step === "type" || this.#step === "confirm" ? this.#lock() : "";
        setText(byId("write-lock"), reason);
        byId("write-lock").hidden = reason === "";
        byId("write-review").disabled = reason !== "" || this.#parsed === null;
        byId("write-now").disabled = reason !== "";
    }
}

const asSentence = (text) => text === "" ? "" : `${text[0].toUpperCase()}${text.slice(1)}${/[.)]$/.test(text) ? "" : "."}`;

const withUnit = (texts, tag) => tag.unit ? `${texts.join(", ")} ${tag.unit}` : texts.join(", ");

function rangeText({least, largest}) {
    if (least === undefined || least === null || largest === undefined || largest === null) {
        return "";
    }
    return `from ${least} to ${largest}`;
}
