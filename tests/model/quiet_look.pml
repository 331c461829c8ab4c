/*
 * A host that polls a PLC over a line on which nothing says what a reply answers. To be shown: whatever the faults of
 * the PLC, no value is published, no write reported done and none sent on the strength of a reply to another request; no
 * write is sent twice, and none ends without a report. docs/trust/model.md says what stands for what, what is assumed and what is left;
 * scripts/check-model visits every state.
 *
 * A reply is a head, which announces how many cells the reply has, and what follows: a reply to a read has two cells,
 * one to a write has one, and so has a refusal. All reads have replies of one length, so that lengths tell nothing.
 * There are no clocks: a time limit passes when nothing is on its way any more but what comes later than any limit.
 *
 * What no real program could know: each request and each cell on its way carries whether it belongs to the latest
 * request (`current`), and `mixedUp` remembers that another reply was taken for the answer to a request.
 *
 *   -DFAULTS=n         the faults that the PLC has, a sum of the numbers below; otherwise all
 *   -DNO_LOOK          the host publishes at the end of a pass without a look
 *   -DREPEAT_AND_LOSE  the PLC may lose a reply on a connection on which it repeated one
 *   -DNO_BOOK          the host relies on the driver to report every write
 *   -DCOMPARE_AT_ONCE  the host compares what it read for a write before it has looked
 *   -DLET_REPEAT       the host lets the driver send a write again that got a bad reply
 */

#define SILENCE     1 /* no reply */
#define LATE        2 /* the reply comes later than any limit; replies to later requests overtake it */
#define TRUNCATE    4 /* the reply ends early */
#define LENGTH      8 /* the head announces a cell more or less than there are */
#define STATUS     16 /* the status word is not 0; the rest of the reply is there all the same */
#define FRAGMENTS  32 /* the cells of the reply come one by one */
#define GLUE       64 /* the reply comes twice in one piece */
#define RESET     128 /* the connection ends instead of a reply */
#define RESTART   256 /* so it does, and the PLC's session bytes are new */
#define REPEAT    512 /* the reply comes once more, at any later time */

#ifndef FAULTS
#define FAULTS 1023
#endif
#define MAY(fault) ((FAULTS & fault) != 0)
#ifdef REPEAT_AND_LOSE
#define MAY_LOSE(fault) MAY(fault)
#else
#define MAY_LOSE(fault) (MAY(fault) && !hasRepeated)
#endif

#define RETRY_LIMIT 1 /* failed replies that the driver tolerates */
#define WRITE_TURNS 2 /* in a row */
#define PASS 2        /* requests in the cyclic list */

mtype:kind = { NONE, OPEN, READ, ONCE, WRITE };
mtype:step = { FREE, WAITING, READING, WITH_DRIVER, ANSWERED };

/* --------------------------------------------------------------------------------------------------------------------
 * The line
 * ----------------------------------------------------------------------------------------------------------------- */

#define BODY 0 /* in the place of what a head announces */
#define END 9  /* the PLC has closed the connection */

chan requests = [3] of { mtype:kind, bool }; /* what is asked; current */
chan line = [8] of { byte, bool, bool };     /* cells announced, BODY or END; status is good; current */
chan aside = [2] of { byte, bool, bool };    /* whole replies that come late: cells; status is good; current */
bool bodyOwed = false;                       /* the head of a reply in fragments is on the line, its body is not */
bool bodyIsCurrent = false;
bool hasRepeated = false;                    /* the PLC, on this connection */
bool sessionIsRight = false;                 /* the session bytes that the driver has are the PLC's */

#define MORE_IS_COMING (len(requests) > 0 || len(line) > 0 || bodyOwed)

inline clearLine() {
    do
    :: len(requests) > 0 -> requests ? _, _
    :: len(line) > 0 -> line ? _, _, _
    :: len(aside) > 0 -> aside ? _, _, _
    :: len(requests) + len(line) + len(aside) == 0 -> break
    od;
    bodyOwed = false;
    bodyIsCurrent = false;
    hasRepeated = false
}

/* A new request goes out, after a look that found nothing: all that is on its way belongs to an earlier one. */
inline allBecomeEarlier() {
    assert(len(line) == 0);
    for (i : 1 .. len(requests)) { requests ? service, _; requests ! service, false }
    for (i : 1 .. len(aside)) { aside ? cells, good, _; aside ! cells, good, false }
    bodyIsCurrent = false
}

/* --------------------------------------------------------------------------------------------------------------------
 * The PLC
 * ----------------------------------------------------------------------------------------------------------------- */

/* A reply to the request, whole but for what its head says. */
inline put(announced, status) {
    line ! announced, status, current;
    if
    :: cells == 2 -> line ! BODY, status, current
    :: cells == 1
    fi
}

inline close() {
    if
    :: clearLine() /* what was on its way is lost */
    :: skip
    fi;
    line ! END, false, false
}

/* Each good reply meets one fault or none. */
inline answer() {
    if
    :: put(cells, true)
    :: MAY_LOSE(SILENCE)
    :: MAY_LOSE(LATE) && len(aside) < 2 -> aside ! cells, true, current
    :: MAY_LOSE(TRUNCATE) && cells == 2 -> line ! 2, true, current
    :: MAY_LOSE(TRUNCATE) && cells == 1 /* a cell that is cut is none */
    :: MAY(LENGTH) -> put(cells + 1, true)
    :: MAY(LENGTH) && cells == 2 -> line ! 1, true, current; line ! BODY, true, current
    :: MAY(STATUS) -> put(cells, false)
    :: MAY(FRAGMENTS) && cells == 2 -> line ! 2, true, current; bodyOwed = true; bodyIsCurrent = current
    :: MAY(GLUE) -> put(cells, true); put(cells, true)
    :: MAY(RESET) -> close()
    :: MAY(RESTART) -> sessionIsRight = false; close()
    :: MAY(REPEAT) && len(aside) < 2 -> put(cells, true); aside ! cells, true, current; hasRepeated = true
    fi
}

active proctype Plc() {
    mtype:kind service = NONE;
    byte cells = 0;
    bool good = false;
    bool current = false;
end:
    do
    :: atomic {
        len(requests) > 0 && !bodyOwed && len(line) <= 3 ->
        requests ? service, current;
        cells = (service == WRITE -> 1 : 2);
        if
        :: service != OPEN && !sessionIsRight -> line ! 1, false, current /* a refusal */
        :: service == OPEN || sessionIsRight -> answer()
        fi;
        service = NONE; cells = 0; current = false
    }
    :: atomic {
        bodyOwed ->
        line ! BODY, true, bodyIsCurrent;
        bodyOwed = false; bodyIsCurrent = false
    }
    :: atomic { /* never in the middle of another reply */
        len(aside) > 0 && !bodyOwed && len(line) <= 3 ->
        aside ? cells, good, current;
        put(cells, good);
        cells = 0; good = false; current = false
    }
    od
}

/* --------------------------------------------------------------------------------------------------------------------
 * The host, and in it the driver
 * ----------------------------------------------------------------------------------------------------------------- */

/* Two writes and a one-shot read. FREE: not ordered, or ended and reported. The first write may state what it replaces: then
 * it goes alone, and its variable is read before (READING) by the one-shot read. */
mtype:step write[2] = FREE;
mtype:step once = FREE;
bool onceIsForWrite = false; /* goes before a one-shot read that waits and is somebody else's */
bool isCompared = false;     /* the first write */
bool secondIsOlder = false;  /* both wait */
bool wasSent = false;        /* the write in the batch */

/* While a reply is awaited somebody gives orders, or does not. */
inline order() {
    if
    :: write[0] == FREE -> write[0] = WAITING; isCompared = false; secondIsOlder = (write[1] == WAITING)
    :: write[0] == FREE -> write[0] = WAITING; isCompared = true; secondIsOlder = (write[1] == WAITING)
    :: skip
    fi;
    if
    :: write[1] == FREE -> write[1] = WAITING; secondIsOlder = false
    :: skip
    fi;
    if
    :: once == FREE -> once = WAITING
    :: skip
    fi
}

/* The driver: its list of writes, the request it is at, and what it believes. */
bool queued[2] = false;
mtype:kind batch = NONE;    /* chosen and not completed: it is offered again until it is accepted or given up */
bit head = 0;               /* the write at the head of the list, which is the one that a batch takes */
bool sessionIsOpen = false; /* else the frame that it offers is one of the handshake, whatever the batch */
byte failures = 0;          /* not forgotten after a good reply */
byte writeTurns = 0;        /* since the last cyclic read; also those that turned into a handshake */

/* The host. */
byte readsLeft = PASS; /* of the pass */
bool lookIsDue = false;
bool mixedUp = false; /* since the line was last known to be in step */

inline chooseBatch() {
    if
    :: (queued[0] || queued[1]) && writeTurns < WRITE_TURNS -> batch = WRITE; writeTurns++
    :: else ->
        if
        :: once == WITH_DRIVER -> batch = ONCE
        :: once != WITH_DRIVER -> batch = READ; writeTurns = 0
        fi
    fi
}

/* The driver gives its batch up. It reports the write in it and drops all others; the host's book has them all. */
inline giveUp() {
    if
    :: batch == WRITE ->
#ifdef NO_BOOK
        write[head] = FREE;
#else
        write[0] = (write[0] == WITH_DRIVER -> FREE : write[0]);
        write[1] = (write[1] == WITH_DRIVER -> FREE : write[1]);
#endif
        queued[0] = false; queued[1] = false; head = 0
    :: batch == ONCE ->
        once = FREE;
        write[0] = (onceIsForWrite -> FREE : write[0]); /* not sent */
        onceIsForWrite = false
    :: batch == READ || batch == NONE
    fi;
    batch = NONE;
    wasSent = false;
    sessionIsOpen = false;
    failures = 0;
    readsLeft = PASS
}

#ifdef LET_REPEAT
#define MUST_GIVE_UP (failures > RETRY_LIMIT)
#else
#define MUST_GIVE_UP (failures > RETRY_LIMIT || batch == WRITE)
#endif

/* An empty reply for the driver; for one that has sent a write so many that it gives up. When it does, the connection may
 * have stayed: it is looked at then. */
inline feedFailure() {
    failures++;
    if
    :: MUST_GIVE_UP -> giveUp(); lookIsDue = true
    :: else
    fi
}

/* What was read for the first write is what the PLC must hold, or is not. */
inline compare() {
    assert(!mixedUp);
    if
    :: write[0] = WITH_DRIVER; queued[0] = true; head = 0
    :: write[0] = FREE /* not sent */
    fi;
    once = FREE;
    onceIsForWrite = false
}

/* The driver takes the reply. What was answered waits for the end of the pass only while more urgent work is left. */
inline accept() {
    mixedUp = mixedUp || (sessionIsOpen && !isPure);
    if
    :: !sessionIsOpen -> sessionIsOpen = true; sessionIsRight = isPure
    :: sessionIsOpen && batch == READ ->
        readsLeft--;
        if
        :: readsLeft == 0 -> readsLeft = PASS; lookIsDue = true
        :: readsLeft > 0 -> lookIsDue = true /* a pass that takes long is published in parts */
        :: readsLeft > 0
        fi
    :: sessionIsOpen && batch == ONCE ->
        once = ANSWERED;
#ifdef COMPARE_AT_ONCE
        if
        :: onceIsForWrite -> compare()
        :: !onceIsForWrite
        fi
#endif
    :: sessionIsOpen && batch == WRITE ->
        write[head] = ANSWERED; queued[head] = false;
        head = (queued[1 - head] -> 1 - head : 0)
    fi;
    batch = NONE;
    wasSent = false;
    lookIsDue = lookIsDue || ((write[0] == ANSWERED || write[1] == ANSWERED || once == ANSWERED) &&
                              write[0] != WITH_DRIVER && write[1] != WITH_DRIVER && once != WITH_DRIVER)
}

/* The line is in step: what was received is published, what was answered is reported. */
inline publish() {
    assert(!mixedUp);
    write[0] = (write[0] == ANSWERED -> FREE : write[0]);
    write[1] = (write[1] == ANSWERED -> FREE : write[1]);
    if
    :: once == ANSWERED && onceIsForWrite -> compare()
    :: once == ANSWERED && !onceIsForWrite -> once = FREE
    :: once != ANSWERED
    fi;
    lookIsDue = false
}

inline handOver() {
    if
    :: sessionIsOpen ->
        if
        :: write[0] == WAITING && !isCompared ->
            write[0] = WITH_DRIVER; queued[0] = true;
            head = (queued[1] -> head : 0)
        :: write[0] == WAITING && isCompared && write[1] != WITH_DRIVER && !(write[1] == WAITING && secondIsOlder) &&
           (once == FREE || once == WAITING) ->
            write[0] = READING; once = WAITING; onceIsForWrite = true
        :: else
        fi;
        if
        :: write[1] == WAITING && (!isCompared || write[0] == FREE || write[0] == ANSWERED ||
                                   (write[0] == WAITING && secondIsOlder)) ->
            write[1] = WITH_DRIVER; queued[1] = true;
            head = (queued[0] -> head : 1)
        :: else
        fi;
        secondIsOlder = false;
        isCompared = isCompared && (write[0] == WAITING || write[0] == READING || write[0] == WITH_DRIVER);
        once = (once == WAITING -> WITH_DRIVER : once)
    :: !sessionIsOpen
    fi
}

active proctype Host() {
    byte announced = 0; /* of the reply that is being collected; 0: none yet */
    byte collected = 0;
    bool isGood = false;
    bool isPure = false; /* all of it belongs to the request */
    byte cells = 0;
    bool good = false;
    bool current = false;
    mtype:kind service = NONE;
    byte i = 0;

turn:
    atomic {
        handOver();
        if
        :: lookIsDue -> goto look
        :: !lookIsDue
        fi;
        if
        :: batch == NONE -> chooseBatch()
        :: batch != NONE
        fi;
        if
        :: len(line) > 0 -> goto drop /* nobody asked for it */
        :: len(line) == 0
        fi;
        allBecomeEarlier();
        service = (sessionIsOpen -> batch : OPEN);
        if
        :: service == WRITE -> assert(!wasSent); wasSent = true
        :: service != WRITE
        fi;
        requests ! service, true;
        service = NONE; cells = 0; good = false; i = 0
    }

receive:
    atomic {
        if
        :: len(line) > 0 -> line ? cells, good, current
        :: !MORE_IS_COMING -> goto drop /* no reply in time */
        fi;
        order();
        if
        :: cells == END -> goto drop
        :: cells == BODY && announced == 0 -> goto drop /* not the magic bytes */
        :: cells != END && cells != BODY && announced == 0 -> announced = cells; isGood = good; isPure = current
        :: cells != END && announced != 0 -> isPure = isPure && current && cells == BODY
        fi;
        collected++;
        cells = 0; good = false; current = false;
        if
        :: collected < announced -> goto receive
        :: collected == announced && len(line) > 0 -> goto drop /* more than a reply */
        :: collected == announced /* what comes behind was not seen yet */
        fi;
        service = (sessionIsOpen -> batch : OPEN);
        if
        :: service != OPEN && !isGood -> feedFailure()
        :: service == OPEN && announced < 2 -> goto drop
        :: service != OPEN && isGood && announced != (service == WRITE -> 1 : 2) -> goto drop
        :: else -> accept()
        fi;
        announced = 0; collected = 0; isGood = false; isPure = false; service = NONE;
        goto turn
    }

look:
    atomic {
#ifndef NO_LOOK
        if
        :: len(line) > 0 -> goto drop
        :: !MORE_IS_COMING
        fi;
#endif
        publish();
        goto turn
    }

/* The connection is not used again. What was received since the line was last known to be in step counts as nothing. */
drop:
    atomic {
        clearLine();
        mixedUp = false;
        lookIsDue = false;
        write[0] = (write[0] == ANSWERED -> FREE : write[0]); /* reported as perhaps done */
        write[1] = (write[1] == ANSWERED -> FREE : write[1]);
        once = (once == ANSWERED -> FREE : once);
        /* Not sent: nothing is kept for another session; and the deadline of what waits for one passes sooner or later. */
        write[0] = (write[0] == WAITING || write[0] == READING -> FREE : write[0]);
        write[1] = (write[1] == WAITING -> FREE : write[1]);
        onceIsForWrite = false;
        if
        :: !sessionIsOpen ->
            if
            :: queued[0] || queued[1] -> batch = WRITE
            :: else
            fi
        :: sessionIsOpen && batch == NONE -> chooseBatch()
        :: sessionIsOpen && batch != NONE
        fi;
        giveUp();
        announced = 0; collected = 0; isGood = false; isPure = false;
        service = NONE; cells = 0; good = false; current = false; i = 0;
        goto turn
    }
}

ltl no_write_ends_without_a_report {
    [] ((write[0] != FREE -> <> (write[0] == FREE)) && (write[1] != FREE -> <> (write[1] == FREE)))
}
