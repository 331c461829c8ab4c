// The line of a value's last minutes, as a path for an SVG.

export const SPARKLINE = {width: 120, height: 24, span: 5 * 60 * 1000};

// `points` is [[clock, number or null]] in the order of time; gaps stay gaps, and between two points the value is held.
export function sparklinePath(points, now) {
    const from = now - SPARKLINE.span;
    const numbers = points.filter(([clock, number]) => number !== null && clock >= from).map(([, number]) => number);
    if (numbers.length === 0) {
        return "";
    }
    const least = Math.min(...numbers);
    const range = Math.max(...numbers) - least;
    const x = (clock) => (Math.max(0, (clock - from) / SPARKLINE.span) * SPARKLINE.width).toFixed(1);
    const y = (number) => (range === 0 ? SPARKLINE.height / 2 : 2 + (1 - (number - least) / range) * (SPARKLINE.height - 4)).toFixed(1);
    let path = "";
    let isOpen = false;
    for (const [clock, number] of points) {
        if (number === null) {
            path += isOpen ? `H${x(clock)}` : "";
            isOpen = false;
        } else {
            path += isOpen ? `H${x(clock)}V${y(number)}` : `M${x(clock)} ${y(number)}`;
            isOpen = true;
        }
    }
    return isOpen ? `${path}H${SPARKLINE.width}` : path;
}
