// Prints what gateways publish, a line for each value, each value once, whatever happens to the broker; at the end (SIGINT,
// SIGTERM) it tells how many came more than once, what gateways dropped, and what is missing.
//
//   npm install mqtt
//   node subscriber.js mqtt://127.0.0.1:1883 'acme/leipzig/#' my-subscriber
//
// The third argument is the client's name: the broker keeps its session by it, and what comes while this is away.
import mqtt from "mqtt";

import {Journal} from "./journal.js";

const [broker = "mqtt://127.0.0.1:1883", topics = "#", name = "ac500-subscriber"] = process.argv.slice(2);
const journal = new Journal();
let repeated = 0;
let isMissing = false;

// While gateways send what they kept, older messages follow newer ones.
function tellMissing() {
    if (isMissing !== journal.holes().length > 0) {
        isMissing = !isMissing;
        console.error(isMissing ? "messages are missing, or underway" : "nothing is missing any more");
    }
}

// MQTT 5 keeps a session as long as it is told to; 3.1.1 for ever.
const client = mqtt.connect(broker, {clientId: name, clean: false, protocolVersion: 5, reconnectPeriod: 200,
    properties: {sessionExpiryInterval: 7 * 86400}});

client.on("connect", ({sessionPresent}) => {
    console.error(`connected, ${sessionPresent ? "the broker knows us" : "for the first time"}`);
    if (!sessionPresent) {
        client.subscribe(topics, {qos: 1});
    }
});
client.on("error", (error) => console.error(error.message));
client.on("message", (topic, payload) => {
    const [, prefix, kind] = /^(.*?)\/(values|status)(?:\/|$)/.exec(topic) ?? [];
    if (kind === "status") {
        console.log(`${prefix} is ${JSON.parse(payload).state}`);
    } else if (kind === "values") {
        const taken = journal.take(prefix, JSON.parse(payload));
        repeated += taken.repeated;
        tellMissing();
        for (const {tag, value, state, time} of taken.values) {
            console.log(`${time} ${prefix} ${tag} ${JSON.stringify(value)} ${state}`);
        }
    }
});

function finish() {
    console.error(`repeated: ${repeated}, dropped: ${JSON.stringify(journal.dropped())}, missing: ${JSON.stringify(journal.holes())}`);
    client.end(true, () => process.exit(journal.holes().length ? 1 : 0));
}
process.once("SIGINT", finish).once("SIGTERM", finish);
