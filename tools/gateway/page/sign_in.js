// Signing in and out. The token goes into the body of one request and is forgotten here; what stays is a cookie that no
// script can read.

import {announce} from "./announcer.js";
import {post} from "./api.js";
import {byId, setText} from "./dom.js";

export class SignIn {
    #onChange;
    #isBusy = false;

    // `onChange` is called after signing in or out.
    constructor(onChange) {
        this.#onChange = onChange;
        byId("sign-in-form").addEventListener("submit", (event) => {
            event.preventDefault();
            this.#signIn();
        });
        byId("sign-in-cancel").addEventListener("click", () => byId("sign-in").close());
        byId("sign-in-open").addEventListener("click", () => this.ask());
        byId("sign-out").addEventListener("click", () => this.#signOut());
    }

    show(plant) {
        const isOff = plant.signIn === "off";
        setText(byId("viewer"), plant.viewer ? `${plant.viewer.name} (${plant.viewer.right === "write" ? "may write" : "may look"})` : "");
        byId("sign-in-open").hidden = isOff || plant.viewer !== null;
        byId("sign-out").hidden = isOff || plant.viewer === null;
    }

    ask(isRequired = false) {
        if (!byId("sign-in").open) {
            setText(byId("sign-in-problem"), "");
            byId("sign-in-cancel").hidden = isRequired;
            byId("sign-in").showModal();
            byId("token").focus();
        }
    }

    async #signIn() {
        if (this.#isBusy) {
            return;
        }
        this.#isBusy = true;
        const token = byId("token").value.trim();
        byId("token").value = "";
        try {
            await post("/api/sign-in", {token});
            byId("sign-in").close();
            announce("Signed in");
            this.#onChange();
        } catch (problem) {
            setText(byId("sign-in-problem"), String(problem));
            byId("token").focus();
        } finally {
            this.#isBusy = false;
        }
    }

    async #signOut() {
        try {
            await post("/api/sign-out", {});
            announce("Signed out");
        } finally {
            this.#onChange();
        }
    }
}
