#include "bench/driver_setup.h"

#include "bench/workload.h"
#include "core/host_interface.h"
#include "core/inner_steps.h"

namespace ac500::bench {

namespace {

quint32 ignoreVariable(quint32, quint32, quint32, quint32) {
    return 0;
}

quint32 ignoreFailure(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

}  // namespace

ComInfo& startDriver() {
    static ComInfo settings = ComInfo();
    settings.maxRequestWords = kMaxRequestWords;
    settings.retryLimit = 2;
    settings.accessMode = 2;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(ignoreVariable, ignoreFailure);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    return settings;
}

ComInfo& startDriver(const Corpus& corpus, int maxRequestWords) {
    ComInfo& settings = startDriver();
    settings.maxRequestWords = maxRequestWords;
    QList<Label_Type_Info> symbols = corpus.symbols;
    PassVarName_2(&symbols);
    QList<HostTag> tags = hostTags(inOrder(corpus.tags, Order::Random));
    require(ReCreatReadVarList(&tags) > 0, "the driver took no tag");
    return settings;
}

void fillImage(const Corpus& corpus, int generation) {
    RW_VAR all = RW_VAR();
    all.area = kArea;
    all.dataType = kUnsignedInt;
    all.size = corpus.areaBytes;
    for (int address = 0; address < corpus.areaBytes; ++address) {
        all.data.append(memoryByte(address, generation));
    }
    WriteDataToLocal(&all);
}

void forgetNames(const Corpus& corpus) {
    QList<Label_Type_Info> emptyScopes = corpus.symbols;
    for (Label_Type_Info& scope : emptyScopes) {
        scope.elementType.first().members.clear();
        scope.elementType.first().memberCount = 0;
    }
    PassVarName_2(&emptyScopes);
    const QString& name = corpus.tags.front().name;
    ControlInformationM info = ControlInformationM();
    require(get_label_address_info(name, info) != 0, "the driver did not forget");
}

void requireReadable(std::vector<CorpusTag>& tags, int generation) {
    QString argument;
    QByteArray value;
    for (CorpusTag& tag : tags) {
        require(GetRegisterData(&tag.name, 0, &argument, 0, &value, 1) == 1 &&
                    value == hostValueAt(tag.startByte, generation),
                "the driver read a wrong value");
    }
}

}  // namespace ac500::bench
