// EXTENDVAR is an element of a list that the driver keeps for the host's sake: created, cleared and destroyed with
// the driver object, never filled.
#ifndef AC500_VARS_EXTEND_VAR_H
#define AC500_VARS_EXTEND_VAR_H

#include <QtCore/QByteArray>

struct EXTENDVAR {
    qint32 word0;
    qint32 word1;
    qint32 word2;
    QByteArray data;
};

#endif
