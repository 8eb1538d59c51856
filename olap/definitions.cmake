# Records, forms and panel.
