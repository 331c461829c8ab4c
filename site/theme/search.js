// Search in the sections that search-index.js lists: those that hold every word typed, titles first.
(function () {
    "use strict";
    const mostShown = 20;
    const input = document.querySelector(".search input");
    const list = document.querySelector(".search .found");
    const lowered = searchIndex.map(function (section) {
        return { title: (section.page + " " + section.title).toLowerCase(), text: section.text.toLowerCase() };
    });

    function rank(at, words) {
        let sum = 0;
        for (const word of words) {
            if (lowered[at].title.includes(word)) {
                sum += 10;
            } else if (lowered[at].text.includes(word)) {
                sum += 1;
            } else {
                return 0;
            }
        }
        return sum;
    }

    function excerpt(at, word) {
        const text = searchIndex[at].text;
        const place = Math.max(lowered[at].text.indexOf(word), 0);
        const begin = Math.max(place - 40, 0);
        return (begin > 0 ? "..." : "") + text.slice(begin, begin + 120) + (begin + 120 < text.length ? "..." : "");
    }

    function show() {
        const words = input.value.toLowerCase().split(/\s+/).filter(Boolean);
        list.replaceChildren();
        list.hidden = words.length === 0;
        const found = searchIndex
            .map(function (_, at) { return { at: at, rank: words.length ? rank(at, words) : 0 }; })
            .filter(function (one) { return one.rank > 0; })
            .sort(function (a, b) { return b.rank - a.rank || a.at - b.at; });
        for (const one of found.slice(0, mostShown)) {
            const section = searchIndex[one.at];
            const link = document.createElement("a");
            link.href = input.dataset.base + section.url;
            const title = document.createElement("b");
            title.textContent = section.title === section.page ? section.page : section.page + ": " + section.title;
            const text = document.createElement("span");
            text.textContent = excerpt(one.at, words[0]);
            link.append(title, text);
            const entry = document.createElement("li");
            entry.append(link);
            list.append(entry);
        }
        if (words.length > 0 && found.length === 0) {
            const nothing = document.createElement("li");
            nothing.textContent = "No section holds all of these words.";
            list.append(nothing);
        }
    }

    input.addEventListener("input", show);
    input.addEventListener("keydown", function (event) {
        if (event.key === "Escape") {
            input.value = "";
            show();
        } else if (event.key === "Enter" && list.querySelector("a")) {
            list.querySelector("a").click();
        }
    });
})();
