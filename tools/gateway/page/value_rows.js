// The rows of the table of values that can be seen, and few beyond: with thousands of tags only some tens of elements exist,
// and only their tags are watched. Elements stay in the order of the rows, so that the keyboard walks from row to row, and
// the row with the focus stays as long as it has it.

const BEYOND = 6;  // rows above and below what is seen

// Where each row begins, and behind them where the last one ends.
export function topsOf(items, tagHeight, scopeHeight) {
    const tops = [0];
    for (const item of items) {
        tops.push(tops.at(-1) + (item.tag ? tagHeight : scopeHeight));
    }
    return tops;
}

// The row at that height; the first or the last one beyond them.
export function rowAt(tops, height) {
    let first = 0;
    let end = Math.max(1, tops.length - 1);
    while (end - first > 1) {
        const middle = (first + end) >> 1;
        if (tops[middle] <= height) {
            first = middle;
        } else {
            end = middle;
        }
    }
    return first;
}

export class ValueRows {
    #viewport;
    #body;
    #makeRow;
    #onShown;
    #items = [];
    #rows = new Map();  // index -> element
    #tops = [0];
    #first = 0;
    #end = 0;

    // `viewport` scrolls, `body` in it holds the rows. `makeRow(item, index)` answers an element; `onShown(items)` is told
    // what is there after each change.
    constructor(viewport, body, makeRow, onShown) {
        this.#viewport = viewport;
        this.#body = body;
        this.#makeRow = makeRow;
        this.#onShown = onShown;
        viewport.addEventListener("scroll", () => this.#show(), {passive: true});
        new ResizeObserver(() => this.#measure()).observe(viewport);
    }

    show(items) {
        this.#items = items;
        for (const row of this.#rows.values()) {
            row.remove();
        }
        this.#rows.clear();
        this.#viewport.scrollTop = 0;
        this.#measure();
    }

    shownItems() {
        return [...this.#rows.keys()].sort((a, b) => a - b).map((index) => this.#items[index]);
    }

    row(index) {
        return this.#rows.get(index) ?? null;
    }

    // The heights of rows are set by the style sheet, in the units of the font: they follow zoom and width. The row that is at
    // the top stays there.
    #measure() {
        const style = getComputedStyle(this.#body);
        const unit = Number.parseFloat(getComputedStyle(document.documentElement).fontSize);
        const [tagHeight, scopeHeight] = ["--tag-height", "--scope-height"].map((name) => Number.parseFloat(style.getPropertyValue(name)) * unit);
        const tops = topsOf(this.#items, tagHeight, scopeHeight);
        if (tops.at(-1) !== this.#tops.at(-1)) {
            const seen = rowAt(this.#tops, this.#viewport.scrollTop);
            this.#tops = tops;
            this.#body.style.height = `${tops.at(-1)}px`;
            this.#viewport.scrollTop = tops[Math.min(seen, tops.length - 1)];
        }
        this.#tops = tops;
        for (const [index, row] of this.#rows) {
            row.style.top = `${tops[index]}px`;
        }
        this.#show();
    }

    #show() {
        const {clientHeight, scrollTop} = this.#viewport;
        if (clientHeight === 0) {
            return;  // another view is shown
        }
        const first = Math.max(0, rowAt(this.#tops, scrollTop) - BEYOND);
        const end = Math.min(this.#items.length, rowAt(this.#tops, scrollTop + clientHeight) + 1 + BEYOND);
        if (first === this.#first && end === this.#end && this.#rows.size > 0) {
            return;
        }
        this.#first = first;
        this.#end = end;
        for (const [index, row] of this.#rows) {
            if ((index < first || index >= end) && !row.contains(document.activeElement)) {
                row.remove();
                this.#rows.delete(index);
            }
        }
        for (let index = first; index < end; ++index) {
            if (!this.#rows.has(index)) {
                const row = this.#makeRow(this.#items[index], index);
                row.style.top = `${this.#tops[index]}px`;
                this.#rows.set(index, row);
                this.#body.insertBefore(row, this.#rowAfter(index));
            }
        }
        this.#onShown(this.shownItems());
    }

    #rowAfter(index) {
        let after = null;
        for (const [other] of this.#rows) {
            if (other > index && (after === null || other < after)) {
                after = other;
            }
        }
        return after === null ? null : this.#rows.get(after);
    }
}
