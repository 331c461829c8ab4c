// A symbol file with many tags, of which a tenth changes.
import fs from "node:fs";
import path from "node:path";

export function writeLargeSymbols(folder, count) {
    const variables = [];
    const signals = [];
    for (let number = 0; number < count; ++number) {
        const name = `value_${String(number).padStart(4, "0")}`;
        variables.push({name, type: "REAL", area: 1, offset: 4 * number});
        if (number % 10 === 0) {
            signals.push({tag: `Large.${name}`, signal: "sine", min: 0, max: 100, periodMs: 5000 + number});
        }
    }
    const file = path.join(folder, "large.json");
    fs.writeFileSync(file, JSON.stringify({format: "ac500-symbols", version: 1, areas: [{number: 1, name: "Values", bytes: 65536}], scopes: [{name: "Large", variables}], simulation: {signals}}));
    return file;
}
