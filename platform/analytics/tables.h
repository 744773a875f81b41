/// The tables of the analytics records.
#pragma once

#include "facesetting.h"
#include "record/table.h"
#include "tavicountingwidget.h"
#include "tavisetting.h"

namespace qv::analytics {

const record::Table<TaviSetting>& IvaTaskTable();
const record::Table<FaceSetting>& FaceTaskTable();
const record::Table<TaviCountingWidget>& CountingWidgetTable();
const record::AnyTable& TaskGroupTable();
const record::AnyTable& TaskGroupWidgetTable();

}  // namespace qv::analytics
