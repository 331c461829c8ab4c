// How times, spans and values are written.

// 0.4 s, 12 s, 3 min 20 s, 2 h 05 min, 3 d 4 h
export function spanText(milliseconds) {
    const seconds = milliseconds / 1000;
    if (seconds < 10) {
        return `${seconds.toFixed(1)} s`;
    }
    if (seconds < 60) {
        return `${Math.floor(seconds)} s`;
    }
    const minutes = Math.floor(seconds / 60);
    if (minutes < 60) {
        return `${minutes} min ${String(Math.floor(seconds % 60)).padStart(2, "0")} s`;
    }
    const hours = Math.floor(minutes / 60);
    if (hours < 24) {
        return `${hours} h ${String(minutes % 60).padStart(2, "0")} min`;
    }
    return `${Math.floor(hours / 24)} d ${hours % 24} h`;
}

export const ageText = (milliseconds) => milliseconds === null ? "–" : spanText(milliseconds);

// 250 µs, 1.2 ms, 3.4 s
export function microsecondsText(microseconds) {
    if (microseconds < 1000) {
        return `${Math.round(microseconds)} µs`;
    }
    if (microseconds < 1e6) {
        return `${(microseconds / 1000).toPrecision(3)} ms`;
    }
    return `${(microseconds / 1e6).toPrecision(3)} s`;
}

const two = (number) => String(number).padStart(2, "0");

// In the time zone of the browser.
export function dateTimeText(wall) {
    const date = new Date(wall);
    return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())} ${timeText(wall)}`;
}

export function timeText(wall) {
    const date = new Date(wall);
    return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
}

export const valueText = (value) => value?.texts?.length ? value.texts.join(", ") : "–";

export const countText = (number, one, many = `${one}s`) => `${number.toLocaleString("en")} ${number === 1 ? one : many}`;
