#include "tools/symbol_file/label_records.h"

#include <map>

#include <QtCore/QString>

#include "core/codes.h"

namespace ac500::symbol_file {
namespace {

constexpr int kIndexBase = 10;

Label_Type_Info filledRecord(const std::string& name, int type) {
    Label_Type_Info record;
    record.name = QString::fromStdString(name);
    record.type = static_cast<quint16>(type);
    record.offset = 0;
    record.dimensions = 0;
    record.memberCount = 0;
    record.extra1 = 0;
    record.extra2 = 0;
    return record;
}

void setMembers(const QList<Label_Type_Info>& members, Label_Type_Info* record) {
    record->members = members;
    record->memberCount = static_cast<quint32>(members.size());
}

void setDimensions(const std::vector<ArrayDimension>& dimensions, Label_Type_Info* record) {
    record->dimensions = static_cast<qint32>(dimensions.size());
    record->arrayBounds << kIndexBase;
    for (const ArrayDimension& dimension : dimensions) {
        record->arrayBounds << dimension.lower << dimension.upper + 1;
    }
}

// The bits of a variable, as if they were an array: index rewriting counts in it.
Label_Type_Info bitsRecord(int widthBytes) {
    Label_Type_Info record = filledRecord("bits", static_cast<int>(TypeCode::Bit) | kArrayFlag);
    record.typeName = QLatin1String("BIT");
    setDimensions({{0, widthBytes * 8 - 1}}, &record);
    return record;
}

// Builds the record of each structure type once; variables of the same type share it.
class RecordBuilder {
public:
    Label_Type_Info scope(const Scope& scope) {
        Label_Type_Info variables = structureRecord(scope.name, 0);
        QList<Label_Type_Info> members;
        for (const Variable& declared : scope.variables) {
            members << variable(declared);
            members.last().areaList << declared.area;
        }
        setMembers(members, &variables);
        Label_Type_Info record = filledRecord(scope.name, static_cast<int>(TypeCode::Struct));
        record.elementType << variables;
        return record;
    }

private:
    Label_Type_Info structureRecord(const std::string& name, int sizeBytes) {
        Label_Type_Info record = filledRecord(name, static_cast<int>(TypeCode::Struct) | kStructureFlag);
        record.offset = sizeBytes;
        record.typeName = record.name;
        return record;
    }

    Label_Type_Info structure(const StructType& type) {
        const auto known = structures_.find(&type);
        if (known != structures_.end()) {
            return known->second;
        }
        Label_Type_Info record = structureRecord(type.name, type.sizeBytes);
        QList<Label_Type_Info> members;
        for (const Variable& member : type.members) {
            members << variable(member);
        }
        setMembers(members, &record);
        structures_.emplace(&type, record);
        return record;
    }

    Label_Type_Info variable(const Variable& declared) {
        Label_Type_Info record = filledRecord(declared.name, static_cast<int>(driverCode(declared.code)));
        const TypeTraits* traits = typeTraits(declared.code);
        record.offset = declared.offset;
        record.typeName = QString::fromStdString(declared.structure ? declared.structure->name
                                                                    : typeTraits(driverCode(declared.code))->name);
        if (!declared.dimensions.empty()) {
            record.type |= kArrayFlag;
            setDimensions(declared.dimensions, &record);
        }
        if (declared.structure) {
            record.elementType << structure(*declared.structure);
        }
        if (declared.bitAddressable) {
            record.type |= kBitsFlag;
            record.elementType << bitsRecord(traits->widthBytes);
        }
        return record;
    }

    std::map<const StructType*, Label_Type_Info> structures_;
};

}  // namespace

QList<Label_Type_Info> labelRecords(const SymbolFile& file) {
    RecordBuilder builder;
    QList<Label_Type_Info> records;
    for (const Scope& scope : file.scopes) {
        records << builder.scope(scope);
    }
    return records;
}

}  // namespace ac500::symbol_file
