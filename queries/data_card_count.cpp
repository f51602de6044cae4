#include "queries/data_card_count.h"

#include "requests/decimal.h"

namespace zrtmon {

BOOL CDataCardCount::NameFields()
{
    int count = 0;
    if (CDataStatus::NameFields() && GetCardCount(count)) {
        m_text = DecimalText(count);
    }
    return TRUE;
}

} // namespace zrtmon
