// Making and changing elements. Texts only ever become text nodes.

const SVG = "http://www.w3.org/2000/svg";

function fill(node, attributes, children) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith("on")) {
            node.addEventListener(name.slice(2), value);
        } else if (value === true) {
            node.setAttribute(name, "");
        } else if (value !== false && value !== null && value !== undefined) {
            node.setAttribute(name, value);
        }
    }
    node.append(...children.filter((child) => child !== null && child !== undefined));
    return node;
}

// element("button", {type: "button", onclick: f}, "Close"); attributes that are false, null or undefined are left out.
export function element(name, attributes = {}, ...children) {
    return fill(document.createElement(name), attributes, children);
}

export function svgElement(name, attributes = {}, ...children) {
    return fill(document.createElementNS(SVG, name), attributes, children);
}

export const byId = (id) => document.getElementById(id);

// Changes the document only where the text is another one.
export function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

export function setAttribute(node, name, value) {
    if (node.getAttribute(name) !== value) {
        node.setAttribute(name, value);
    }
}

// A picture that only repeats the text beside it: one of the <symbol> of index.html.
export function symbol(name) {
    return svgElement("svg", {class: "symbol", "aria-hidden": "true", focusable: "false"}, svgElement("use", {href: `#symbol-${name}`}));
}

export function setSymbol(node, name) {
    setAttribute(node.firstElementChild, "href", `#symbol-${name}`);
}
