// Requests to the gateway. What it refuses arrives as ApiError with its words: what is wrong, and what to do next.

export class ApiError extends Error {
    constructor(status, what, next) {
        super(what);
        this.status = status;
        this.next = next ?? "";
    }

    get needsSignIn() {
        return this.status === 401;
    }

    toString() {
        return this.next ? `${this.message} (${this.next})` : this.message;
    }
}

const UNREACHABLE = "The gateway cannot be reached";

export async function errorOf(response) {
    try {
        const {error} = await response.json();
        return new ApiError(response.status, error.what, error.next);
    } catch {
        return new ApiError(response.status, `The gateway answered with status ${response.status}`);
    }
}

// The Response, or an ApiError (its status is 0 when the gateway cannot be reached). An abort passes through as it is.
export async function request(path, options = {}) {
    let response;
    try {
        response = await fetch(path, {credentials: "same-origin", cache: "no-store", redirect: "error", ...options});
    } catch (problem) {
        if (problem.name === "AbortError") {
            throw problem;
        }
        throw new ApiError(0, UNREACHABLE, "it may be starting anew; the page goes on trying");
    }
    if (!response.ok) {
        throw await errorOf(response);
    }
    return response;
}

// The object that was answered.
export async function get(path, parameters = [], options = {}) {
    const query = new URLSearchParams(parameters).toString();
    const response = await request(query ? `${path}?${query}` : path, options);
    return response.json();
}

export async function post(path, body, options = {}) {
    const response = await request(path, {method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify(body), ...options});
    const text = await response.text();
    return text ? JSON.parse(text) : {};
}
