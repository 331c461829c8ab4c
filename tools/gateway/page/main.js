// The page: what its parts share, which view is shown, and what stands above all views.

import {announce} from "./announcer.js";
import {get} from "./api.js";
import {Board} from "./board.js";
import {ServerClock} from "./clock.js";
import {Connection} from "./connection.js";
import {ConnectionView} from "./connection_view.js";
import {byId, setSymbol, setText} from "./dom.js";
import {EventsView} from "./events.js";
import {Freshness} from "./freshness.js";
import {PlanView} from "./plan.js";
import {Selection, SELECTION_LIMIT} from "./selection.js";
import {SignIn} from "./sign_in.js";
import {microsecondsText, spanText} from "./texts.js";
import {TrendView} from "./trend.js";
import {ValuesView} from "./values.js";
import {WriteDialog} from "./write.js";

const BUILD = document.querySelector("meta[name=build]").content;
const LOOK_EACH_MS = 1000;
const UNDERWAY_MS = 2000;  // that a reading of the clock may be late
const SESSION_SYMBOLS = new Map([["up", "fresh"], ["connecting", "pending"], ["retrying", "pending"], ["refused", "failed"], ["lost", "stale"], ["other program", "failed"]]);

class App {
    plant = null;    // as /api/plant answered, each tag with its number
    session = null;  // as the last beat told it
    board = new Board();
    clock = new ServerClock();
    selection = new Selection();
    freshness = new Freshness(() => this.connection.restart());
    connection = new Connection((signal) => this.#loadPlant(signal));
    #views;
    #view = null;
    #write;
    #signIn = new SignIn(() => this.connection.restart());

    constructor() {
        this.connection.on("hello", (hello) => this.#takeHello(hello));
        this.connection.on("beat", (beat) => this.#takeBeat(beat));
        this.connection.on("picture", (picture) => this.#takePicture(picture));
        this.connection.on("changes", (changes) => this.board.takeChanges(changes));
        this.connection.on("state", (state) => this.#takeState(state));
        this.freshness.onChange((isTrusted) => this.#takeTrust(isTrusted));
        this.#write = new WriteDialog(this);
        this.#views = {values: new ValuesView(this), trend: new TrendView(this), connection: new ConnectionView(), plan: new PlanView(), events: new EventsView(this)};
        window.addEventListener("hashchange", () => this.#showView());
        setInterval(() => this.#showState(), LOOK_EACH_MS);
        byId("unencrypted").hidden = location.protocol === "https:" || isLoopback(location.hostname);
        this.#showView();
        this.connection.start();
    }

    mayWrite() {
        return this.plant.viewer?.right === "write";
    }

    openWrite(tag) {
        this.#write.open(tag);
    }

    toggleTrend(tag) {
        if (!this.selection.toggle(tag.name)) {
            announce(`The trend has its ${SELECTION_LIMIT} tags already`);
            this.#notify(`The trend shows ${SELECTION_LIMIT} tags at most: remove one of them first.`);
        }
    }

    watchAgain() {
        const wanted = new Set([...this.#write?.watched ?? [], ...this.#view?.watched() ?? []]);
        this.connection.watch([...wanted]);
    }

    // ---- what arrives ----

    #takeHello({build, clock}) {
        // A gateway that started anew counts its time from the beginning.
        if (clock < this.clock.now() - UNDERWAY_MS) {
            this.#startAnew();
        }
        this.clock.forget();
        this.clock.hear(clock);
        this.#reloadWhenOld(build);
    }

    // A page from before an update may not understand what it is told. When a new one did not come by loading anew (once), it
    // says so instead of trying for ever.
    #reloadWhenOld(build) {
        if (build === BUILD) {
            sessionStorage.removeItem("reloaded");
        } else if (sessionStorage.getItem("reloaded") !== build) {
            sessionStorage.setItem("reloaded", build);
            location.reload();
        } else {
            this.#notify("This page is older than the gateway: load it anew without the browser's cache.");
        }
    }

    #startAnew() {
        this.board.startAnew();
        this.#views.values.startAnew();
    }

    async #loadPlant(signal) {
        const plant = await get("/api/plant", [], {signal});
        const before = this.plant;
        this.plant = {...plant, tags: plant.tags.map((tag, number) => ({...tag, number}))};
        const isSame = before !== null && JSON.stringify(before) === JSON.stringify(this.plant);
        this.#signIn.show(plant);
        byId("notice").hidden = true;
        if (isSame) {
            return;
        }
        this.#startAnew();
        this.#write.close();
        setText(byId("plant-name"), plant.name || plant.plc);
        setText(byId("plant-address"), plant.name ? plant.plc : "");
        this.#views.values.takePlant();
        this.#views.trend.takePlant();
    }

    #takeBeat(beat) {
        this.clock.hear(beat.clock);
        const before = this.session?.state;
        this.session = beat.session;
        this.board.takeBeat(beat);
        this.freshness.hearBeat();
        if (before !== undefined && before !== beat.session.state) {
            announce(`PLC: ${beat.session.state}`);
        }
        this.#showState();
    }

    #takePicture(picture) {
        this.clock.hear(picture.clock);
        this.board.takePicture(picture);
        this.freshness.hearPicture();
    }

    #takeState({state, problem}) {
        if (state !== "open") {
            this.board.forget(this.clock.now());
            this.freshness.distrust();
        }
        if (problem?.needsSignIn) {
            this.#signIn.ask(true);
        }
        this.#showState();
    }

    #takeTrust(isTrusted) {
        document.body.classList.toggle("untrusted", !isTrusted);
        this.#showState();
    }

    // ---- what is shown ----

    #showView() {
        const wanted = location.hash.slice(1);
        const name = wanted in this.#views ? wanted : "values";
        for (const other of Object.keys(this.#views)) {
            byId(`view-${other}`).hidden = other !== name;
            const link = byId(`to-${other}`);
            if (other === name) {
                link.setAttribute("aria-current", "page");
            } else {
                link.removeAttribute("aria-current");
            }
        }
        if (this.#view !== this.#views[name]) {
            this.#view?.close?.();
            this.#view = this.#views[name];
            this.#view.open();
        }
        this.watchAgain();
    }

    #showState() {
        const session = this.session;
        const isAlive = this.freshness.isAlive();
        const plc = session === null ? "PLC: not known yet" : sessionText(session, this.clock);
        setText(byId("session-text"), isAlive ? plc : `${session === null ? "PLC: not known yet" : `PLC: was ${session.state}`}`);
        setSymbol(byId("session-symbol"), isAlive ? SESSION_SYMBOLS.get(session?.state) ?? "never" : "stale");
        byId("session").dataset.state = isAlive ? session?.state ?? "" : "unheard";
        const text = this.#problemText(isAlive);
        setText(byId("page-state"), text);
        byId("page-state").hidden = text === "";
        const name = this.plant?.name || this.plant?.plc;
        document.title = `${isAlive && session?.state === "up" ? "" : "! "}${name ? `${name} – ` : ""}AC500 gateway`;
        if (this.plant === null) {
            byId("notice").hidden = false;
            const {problem} = this.connection.state;
            setText(byId("notice"), problem === null ? "Waiting for the gateway …" : String(problem));
        }
    }

    // What is wrong between this page and the gateway; empty: nothing.
    #problemText(isAlive) {
        const {state, problem} = this.connection.state;
        if (this.plant === null || state === "hidden" || isAlive) {
            return "";
        }
        const since = this.freshness.sinceBeat();
        if (state === "open") {
            return since === null ? "" : `Nothing heard from the gateway for ${spanText(since)}: every value is marked stale.`;
        }
        const reason = problem === null ? "The connection to the gateway broke" : String(problem);
        return `${reason}. Every value is marked stale; the page goes on trying.`;
    }

    #notify(text) {
        setText(byId("notification"), text);
        byId("notification").hidden = false;
        setTimeout(() => {
            byId("notification").hidden = true;
        }, 8000);
    }
}

const isLoopback = (host) => host === "localhost" || host === "[::1]" || host.startsWith("127.");

function sessionText({state, since, text, cycle_us: cycle}, clock) {
    const age = clock.age(since);
    const parts = [`PLC: ${state}${age === null ? "" : ` for ${spanText(age)}`}`];
    if (state === "up" && cycle > 0) {
        parts.push(`the last pass took ${microsecondsText(cycle)}`);
    } else if (text) {
        parts.push(text);
    }
    return parts.join(", ");
}

new App();
