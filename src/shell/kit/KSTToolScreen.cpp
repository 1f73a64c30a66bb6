#include "KSTToolScreen.h"

KSTToolScreen::KSTToolScreen(QWidget *parent) : QWidget(parent) {}
