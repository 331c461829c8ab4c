// The picture of the plan: the memory of the PLC, what of it is read, and by which request.

import {byId, setText} from "./dom.js";

export class PlanView {
    constructor() {
        byId("plan").addEventListener("load", () => this.#say(""));
        byId("plan").addEventListener("error", () => this.#say("The gateway has no picture of the plan now"));
    }

    open() {
        byId("plan").src = "/api/plan.svg";
    }

    close() {}

    watched() {
        return [];
    }

    #say(problem) {
        byId("plan").hidden = problem !== "";
        setText(byId("plan-problem"), problem);
    }
}
